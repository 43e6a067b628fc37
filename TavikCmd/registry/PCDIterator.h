#pragma once

#include <cstdint>

#include "objects/SoString.h"
#include "registry/PCDWrapper.h"
#include "registry/SoPXConnector.h"

namespace Vexil {

/// A walk over the application registry in the product configuration database, with a hook for
/// everything that it meets.
class PCDIterator {
  public:
    PCDIterator();
    PCDIterator(const PCDIterator&) = delete;
    PCDIterator& operator=(const PCDIterator&) = delete;
    virtual ~PCDIterator();

    virtual bool onStart(PCDWrapper& w);
    virtual bool onEnd(PCDWrapper& w);
    virtual bool onStartSubDomain(PCDWrapper& w, const SoString& sub, PXConnectorAppInfo& info);
    /// Hands a finished record to onAppInfo.
    virtual bool onEndSubDomain(PCDWrapper& w, const SoString& sub, PXConnectorAppInfo& info);
    /// Reads the key's value into the record, or hands a group's name to onGroupInfo. Keys that
    /// mean nothing here are ignored.
    virtual bool onKey(PCDWrapper& w, const SoString& sub, const SoString& key,
                       PXConnectorAppInfo& info);
    /// A key that is known could not be read.
    virtual bool onError(PCDWrapper& w, const char* sub, const char* key);
    virtual bool onAppInfo(PCDWrapper& w, PXConnectorAppInfo& info) = 0;
    virtual bool onGroupInfo(PCDWrapper& w, const SoString& key, const SoString& value) = 0;

    /// Walks the wrapper's own domain. False where its subdomains or the keys of one of them cannot
    /// be listed; what the hooks answer does not end the walk.
    bool run(PCDWrapper& w);

    /// The value, in `out`. On a failure, and where there is no value, `out` keeps what it had.
    static int getPCDValue(PCDWrapper& w, const SoString& sub, const SoString& key, SoString& out);

    const SoString kAppSubdomainPrefix;
    const SoString kGroupKey;
    const SoString kGroupsPrefix;
    const SoString kSpecifierKey;
    const SoString kPathKey;
    const SoString kWindowClassNameKey;
    const SoString kDisplayNameKey;
    const SoString kBundleIdentifierKey;
    const SoString kParlexVersionKey;
    const SoString kAllowMultipleInstancesKey;
    const SoString kIsShellToolKey;
    const SoString kMessageAuthenticationKey;
    const SoString kMessageDigestKey;
    const SoString kSupportsVRTKKey;
    const SoString kExecutableBasenameKey;
    const SoString kExecutableExtensionKey;
    const SoString kOMVDictionaryKey;
    const SoString kDeveloperInstallPathKey;
    const SoString kRedirectToKey;
    std::uint32_t vellLastModTime = 0;
    std::uint32_t pcdLastModTime = 0;

  private:
    struct TextKey;
    struct FlagKey;

    void walkSubDomain(PCDWrapper& w, const SoString& sub, const char** keys);
    bool onGroupKey(PCDWrapper& w, const SoString& sub, const SoString& key);
    /// Reads a key of an application; nothing to do for an unknown one, which counts as success.
    int readAppKey(PCDWrapper& w, const SoString& sub, const SoString& key,
                   PXConnectorAppInfo& info) const;
    int readBasename(PCDWrapper& w, const SoString& sub, PXConnectorAppInfo& info) const;
};

}  // namespace Vexil
