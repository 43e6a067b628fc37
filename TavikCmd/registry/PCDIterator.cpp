#include "registry/PCDIterator.h"

#include <cstdlib>
#include <cstring>

namespace Vexil {
namespace {

constexpr const char* kSecureScheme = "https://";
constexpr const char* kMakersDomainSuffix = ".norva.com";

bool beginsWith(const SoString& text, const SoString& prefix) {
    return std::strncmp(text.data, prefix.data, static_cast<std::size_t>(prefix.length)) == 0;
}

/// Whether the text is an https address on a host below the maker's domain.
bool isMakersWebAddress(const SoString& text) {
    const std::size_t schemeLength = std::strlen(kSecureScheme);
    if (std::strncmp(text.data, kSecureScheme, schemeLength) != 0)
        return false;
    const char* host = text.data + schemeLength;
    const std::size_t hostLength = std::strcspn(host, "/");
    const std::size_t suffixLength = std::strlen(kMakersDomainSuffix);
    return hostLength > suffixLength &&
           std::strncmp(host + hostLength - suffixLength, kMakersDomainSuffix, suffixLength) == 0;
}

template <typename ReadTime>
std::uint32_t timeOrZero(ReadTime read) {
    unsigned long time = 0;
    return read(&time) == kPCDSuccess ? static_cast<std::uint32_t>(time) : 0;
}

}  // namespace

struct PCDIterator::TextKey {
    const SoString PCDIterator::*name;
    SoString PXConnectorAppInfo::*field;
};

struct PCDIterator::FlagKey {
    const SoString PCDIterator::*name;
    bool PXConnectorAppInfo::*field;
};

PCDIterator::PCDIterator()
    : kAppSubdomainPrefix("/norva/parlex/", -1),
      kGroupKey("Group", -1),
      kGroupsPrefix("/norva/parlex/groups/", -1),
      kSpecifierKey("Specifier", -1),
      kPathKey("Path", -1),
      kWindowClassNameKey("WindowClassName", -1),
      kDisplayNameKey("DisplayName", -1),
      kBundleIdentifierKey("BundleIdentifier", -1),
      kParlexVersionKey("ParlexVersion", -1),
      kAllowMultipleInstancesKey("AllowMultipleInstances", -1),
      kIsShellToolKey("IsShellTool", -1),
      kMessageAuthenticationKey("MessageAuthentication", -1),
      kMessageDigestKey("MessageDigest", -1),
      kSupportsVRTKKey("SupportsVRTK", -1),
      kExecutableBasenameKey("ExecutableBasename", -1),
      // One set of registry data serves every platform, so its key is the same on all of them.
      kExecutableExtensionKey("ExecutableExtensionMac", -1),
      kOMVDictionaryKey("OMVDictionary", -1),
      kDeveloperInstallPathKey("DeveloperInstallPath", -1),
      kRedirectToKey("RedirectTo", -1) {}

PCDIterator::~PCDIterator() = default;

bool PCDIterator::run(PCDWrapper& w) {
    onStart(w);
    vellLastModTime = timeOrZero([&w](unsigned long* time) { return w.vellGetLastModTime(time); });
    pcdLastModTime = timeOrZero([&w](unsigned long* time) { return w.pcdGetLastModTime(time); });

    const char** names = nullptr;
    const int status = w.pcdGetDomainDataSubdomains(w.ownDomain(), &names);
    if (status != kPCDSuccess)
        return status == kPCDNothingToList;
    SoString sub;
    for (; names != nullptr && *names != nullptr; ++names) {
        sub.assign(*names, -1);
        const char** keys = nullptr;
        if (w.pcdGetDomainDataKeys(w.ownDomain(), sub.data, &keys) != kPCDSuccess)
            return false;
        if (beginsWith(sub, kAppSubdomainPrefix))
            walkSubDomain(w, sub, keys);
    }
    onEnd(w);
    return true;
}

void PCDIterator::walkSubDomain(PCDWrapper& w, const SoString& sub, const char** keys) {
    PXConnectorAppInfo info;
    SoString key;
    onStartSubDomain(w, sub, info);
    for (; keys != nullptr && *keys != nullptr; ++keys) {
        key.assign(*keys, -1);
        onKey(w, sub, key, info);
    }
    onEndSubDomain(w, sub, info);
}

int PCDIterator::getPCDValue(PCDWrapper& w, const SoString& sub, const SoString& key,
                             SoString& out) {
    const char* value = nullptr;
    const int status = w.pcdGetDomainData(w.ownDomain(), sub.data, key.data, &value);
    if (status == kPCDSuccess && value != nullptr)
        out.assign(value, -1);
    return status;
}

bool PCDIterator::onStart(PCDWrapper& /*w*/) {
    return true;
}

bool PCDIterator::onEnd(PCDWrapper& /*w*/) {
    return true;
}

bool PCDIterator::onStartSubDomain(PCDWrapper& /*w*/, const SoString& /*sub*/,
                                   PXConnectorAppInfo& /*info*/) {
    return true;
}

bool PCDIterator::onError(PCDWrapper& /*w*/, const char* /*sub*/, const char* /*key*/) {
    return false;
}

bool PCDIterator::onKey(PCDWrapper& w, const SoString& sub, const SoString& key,
                        PXConnectorAppInfo& info) {
    if (!beginsWith(sub, kAppSubdomainPrefix))
        return true;
    // Cut first, then the slash: that is the group subdomain itself and nothing below it. What is
    // below is parsed like an application here and dropped in onEndSubDomain.
    SoString group(sub);
    group.shrink(kGroupsPrefix.length);
    group << '/';
    if (group == kGroupsPrefix)
        return onGroupKey(w, sub, key);
    if (readAppKey(w, sub, key, info) != kPCDSuccess)
        return onError(w, sub.data, key.data);
    return true;
}

bool PCDIterator::onGroupKey(PCDWrapper& w, const SoString& sub, const SoString& key) {
    if (!beginsWith(key, kGroupKey))
        return true;
    SoString value;
    if (getPCDValue(w, sub, key, value) != kPCDSuccess)
        return onError(w, sub.data, key.data);
    if (value.length <= kGroupsPrefix.length)
        return true;
    const SoString name(value.data + kGroupsPrefix.length, -1);
    return onGroupInfo(w, key, name.lowercase());
}

int PCDIterator::readAppKey(PCDWrapper& w, const SoString& sub, const SoString& key,
                            PXConnectorAppInfo& info) const {
    static constexpr TextKey kTextKeys[] = {
        {&PCDIterator::kPathKey, &PXConnectorAppInfo::path},
        {&PCDIterator::kWindowClassNameKey, &PXConnectorAppInfo::windowClassName},
        {&PCDIterator::kDisplayNameKey, &PXConnectorAppInfo::displayName},
        {&PCDIterator::kBundleIdentifierKey, &PXConnectorAppInfo::bundleIdentifier},
        {&PCDIterator::kExecutableExtensionKey, &PXConnectorAppInfo::executableExtension},
        {&PCDIterator::kOMVDictionaryKey, &PXConnectorAppInfo::dictionary},
        {&PCDIterator::kDeveloperInstallPathKey, &PXConnectorAppInfo::developerInstallPath},
        {&PCDIterator::kRedirectToKey, &PXConnectorAppInfo::redirectTarget},
    };
    static constexpr FlagKey kFlagKeys[] = {
        {&PCDIterator::kAllowMultipleInstancesKey, &PXConnectorAppInfo::allowMultipleInstances},
        {&PCDIterator::kIsShellToolKey, &PXConnectorAppInfo::isShellTool},
        {&PCDIterator::kSupportsVRTKKey, &PXConnectorAppInfo::supportsScriptingToolkit},
        {&PCDIterator::kMessageAuthenticationKey, &PXConnectorAppInfo::messageAuthentication},
        {&PCDIterator::kMessageDigestKey, &PXConnectorAppInfo::messageDigest},
    };
    for (const TextKey& known : kTextKeys)
        if (key == this->*known.name)
            return getPCDValue(w, sub, key, info.*known.field);

    SoString value;
    for (const FlagKey& known : kFlagKeys) {
        if (key == this->*known.name) {
            const int status = getPCDValue(w, sub, key, value);
            if (status == kPCDSuccess)
                info.*known.field = value.compare("true") == 0;
            return status;
        }
    }
    if (key == kSpecifierKey || key.compare("ProductCode") == 0) {
        const int status = getPCDValue(w, sub, key, info.specifier);
        if (status == kPCDSuccess)
            info.specifier = info.specifier.lowercase();
        return status;
    }
    if (key == kParlexVersionKey) {
        const int status = getPCDValue(w, sub, key, value);
        if (status == kPCDSuccess)
            info.busVersion = std::strtod(value.data, nullptr);
        return status;
    }
    return key == kExecutableBasenameKey ? readBasename(w, sub, info) : kPCDSuccess;
}

int PCDIterator::readBasename(PCDWrapper& w, const SoString& sub, PXConnectorAppInfo& info) const {
    const int status = getPCDValue(w, sub, kExecutableBasenameKey, info.executableBasename);
    // An application on the maker's own web pages is its own path. Keys come in the database's
    // order, so a "Path" that follows still takes its place.
    if (status == kPCDSuccess && info.path.length == 0 &&
        isMakersWebAddress(info.executableBasename))
        info.path = info.executableBasename;
    return status;
}

bool PCDIterator::onEndSubDomain(PCDWrapper& w, const SoString& sub, PXConnectorAppInfo& info) {
    // The slash first, then the cut: that is the group subdomain and everything below it.
    SoString group(sub);
    group << '/';
    group.shrink(kGroupsPrefix.length);
    if (group == kGroupsPrefix)
        return true;
    if (info.specifier.length == 0 && sub.length > kAppSubdomainPrefix.length + 1)
        info.specifier.assign(sub.data + kAppSubdomainPrefix.length, -1);
    return info.specifier.length == 0 || onAppInfo(w, info);
}

}  // namespace Vexil
