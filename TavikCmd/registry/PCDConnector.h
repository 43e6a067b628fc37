#pragma once

#include <cstdint>
#include <memory>

#include "objects/SoString.h"
#include "objects/SoVector.h"
#include "registry/PCDInitLists.h"
#include "registry/PCDIterator.h"
#include "registry/PCDWrapper.h"
#include "registry/SoPXConnector.h"

namespace Vexil {

/// Which domain a connector reads: the vellDomain of the same value, and 1 for any larger one.
enum DomainKey : std::uint32_t {
    kDomainKeyInstaller = 0,
    kDomainKeyOrvo = 1,
    kDomainKeyQel = 2,
    kDomainKeyTiv = 3,
    kDomainKeyQrt = 4
};

/// Reads the application registry in one domain of the installer databases.
class PCDConnector {
  public:
    PCDConnector(bool usePCD, DomainKey key);
    PCDConnector(const PCDConnector&) = delete;
    PCDConnector& operator=(const PCDConnector&) = delete;
    /// The last connector of the process takes the vell folder with it.
    virtual ~PCDConnector();

    /// "PCD" and what tells this connector from others, e.g. "PCD-cache-orvo".
    virtual SoString getName() const;
    /// When the databases last changed; 0 where that cannot be told.
    virtual std::uint64_t getTimestamp() const;
    /// Fills both lists from scratch; the caller deletes the groups. False where the registry
    /// cannot be walked to its end; what was read before that stays listed.
    virtual bool initLists(PXConnectorAppInfoList& apps, SoVector<SoString>& groups);
    /// Nothing is registered through this connector: both do nothing and return true.
    virtual bool registerApplication(PXConnectorAppInfo& info);
    virtual bool unregisterApplication(const PXConnectorAppInfo& info);

    /// A folder that all connectors of the process share, until the last of them goes; "" where it
    /// was never set.
    static void setVellFolder(const SoString& folder);
    static SoString getVellFolder();

  private:
    std::unique_ptr<PCDWrapper> wrapper;
    std::uint32_t vellLastModTime = 0;
    std::uint32_t pcdLastModTime = 0;
    DomainKey domainKey;
    bool usePCD;

    static std::unique_ptr<SoString> vellFolder;
    static std::uint16_t liveConnectors;
};

}  // namespace Vexil
