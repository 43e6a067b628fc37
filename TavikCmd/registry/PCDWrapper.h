#pragma once

#include <norva_vell.h>

#include <cstdint>

namespace Vexil {

/// A domain of the installer databases. The PCD session never serves the installer's own.
enum vellDomain : std::int32_t {
    kVellDomainInstaller = 0,
    kVellDomainOrvo = 1,
    kVellDomainQel = 2,
    kVellDomainTiv = 3,
    kVellDomainQrt = 4
};

/// An install state, passed on to the framework as it is.
enum vellInstallState : std::int32_t { kVellStateInstalled = 4 };

/// Statuses that the wrapper gives itself; all others are the framework's.
enum PCDStatus : std::int32_t {
    kPCDSuccess = 0,
    kPCDNoEntry = 1,        ///< the entry for opening, or for a modification time, is missing
    kPCDNoCloseEntry = 2,   ///< the entry for closing is missing
    kPCDNothingToList = 8,  ///< the framework's: no failure, there are no subdomains
    kPCDNoSession = 9,      ///< the session that is needed is not open
    kPCDNotSupported = 11   ///< a write anywhere but through the PCD session
};

/// The installer-database framework's entries that the registry uses, in the framework's own names;
/// null where the framework lacks one.
struct PCDEntries {
    PCDEntries();

    decltype(&::pcdOpenSessionNoCreate) pcdOpenSessionNoCreate;
    decltype(&::pcdCloseSession) pcdCloseSession;
    decltype(&::pcdGetDomainDataSubdomains) pcdGetDomainDataSubdomains;
    decltype(&::pcdGetDomainDataKeys) pcdGetDomainDataKeys;
    decltype(&::pcdGetDomainData) pcdGetDomainData;
    decltype(&::pcdSetDomainData) pcdSetDomainData;
    decltype(&::pcdRemoveDomainData) pcdRemoveDomainData;
    decltype(&::vellOpenSession) vellOpenSession;
    decltype(&::vellCloseSession) vellCloseSession;
    decltype(&::vellGetCollectionPayloads) vellGetCollectionPayloads;
    decltype(&::vellGetPayloadDataKeys) vellGetPayloadDataKeys;
    decltype(&::vellGetPayloadData) vellGetPayloadData;
    decltype(&::vellGetPayloads) vellGetPayloads;
    decltype(&::vellGetLastModTime) vellGetLastModTime;
    decltype(&::pcdGetLastModTime) pcdGetLastModTime;
};

/// The one place of the registry that calls the framework: a PCD session and a vell session, and
/// domain operations that go to the one or the other. Every member returns a status, 0 for success;
/// lists end with a null pointer, and lists and texts belong to the framework.
class PCDWrapper {
  public:
    /// Opens the PCD session, and with it open the vell session. With `usePCD` false, or where the
    /// PCD does not open, neither is open for the wrapper's whole life.
    PCDWrapper(bool usePCD, vellDomain domain);
    ~PCDWrapper();
    PCDWrapper(const PCDWrapper&) = delete;
    PCDWrapper& operator=(const PCDWrapper&) = delete;

    bool isGood() const { return true; }

    /// The domain that the wrapper was made for.
    vellDomain ownDomain() const { return domain; }

    // Sessions. They stay the caller's; the wrapper's own are not touched.
    int pcdOpenSessionNoCreate(velliSession** out) const;
    int vellOpenSession(velliSession** out) const;
    int pcdCloseSession(velliSession* session) const;
    int vellCloseSession(velliSession* session) const;
    /// `*time` becomes 0 first.
    int vellGetLastModTime(unsigned long* time) const;
    int pcdGetLastModTime(unsigned long* time) const;

    // Payloads, on the vell session.
    int vellGetCollectionPayloads(vellInstallState state, const char* collection,
                                  const char*** out) const;
    int vellGetPayloadDataKeys(const char* payload, vellDomain d, const char*** out) const;
    int vellGetPayloadData(const char* payload, vellDomain d, const char* key,
                           const char** out) const;
    int vellGetPayloads(vellInstallState state, const char*** out) const;

    // Never supported: the installer alone writes payloads.
    static int vellSetPayloadData(const char* payload, vellDomain d, const char* key,
                                  const char* value);
    static int vellRemovePayloadData(const char* payload, vellDomain d, const char* key);
    static int vellAddPayload(const char* code, const char* name, const char* version,
                              const char* family, const char* kind);
    static int vellRemovePayload(const char* payload);

    // Domains: the PCD session where the PCD is used and neither the wrapper's own domain nor `d`
    // is the installer's; else the vell session, with payloads in the place of subdomains.
    int pcdGetDomainDataSubdomains(vellDomain d, const char*** out) const;
    int pcdGetDomainDataKeys(vellDomain d, const char* sub, const char*** out) const;
    int pcdGetDomainData(vellDomain d, const char* sub, const char* key, const char** out) const;
    int pcdSetDomainData(vellDomain d, const char* sub, const char* key, const char* value) const;
    int pcdRemoveDomainData(vellDomain d, const char* sub, const char* key) const;

  private:
    void openSessions();
    bool servedByPCD(vellDomain d) const;

    PCDEntries entries;
    velliSession* pcdSession = nullptr;
    velliSession* vellSession = nullptr;
    vellDomain domain;
    bool usePCD;
};

}  // namespace Vexil
