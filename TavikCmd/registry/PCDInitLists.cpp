// How the two lists are filled:
//
// 1. onStart empties both lists. It then reads the payloads, the subdomains of domain 1 whose names
//    begin with "{". A payload with a configuration path joins each of its bus codes with that
//    path.
// 2. The walk calls onAppInfo for each application subdomain. A record without a specifier is
//    dropped. A missing window class name is the application name of the specifier.
// 3. A record without a path gets one from the joins whose code is its subdomain. Every match is
//    computed, and the last one counts, even if it gives no path.
// 4. A record with neither a path nor a redirect target is dropped. Any other one is copied into
//    the list, which leaves exact duplicates out.
// 5. A value that cannot be read empties the list of applications, because a record that lacks it
//    could name the wrong program. The walk goes on: applications after it are listed again.
// 6. onEnd resolves the redirects.

#include "registry/PCDInitLists.h"

#include <cstring>

namespace Vexil {
namespace {

constexpr const char* kConfigPathKey = "QRTConfigPath";
constexpr const char* kCodeKey = "ParlexCode";

/// A configuration file lies this many levels below the folder of its application.
constexpr int kLevelsToFolder = 5;

SoString textOf(const char* value) {
    return {value, -1};
}

/// The configuration path of a payload: from its own data first, then from the configuration
/// database, then from the installer's data; "" where none of them has one.
SoString configPathOf(const PCDWrapper& w, const char* payload) {
    const char* value = nullptr;
    if (w.vellGetPayloadData(payload, kVellDomainQrt, kConfigPathKey, &value) == kPCDSuccess &&
        value != nullptr && *value != '\0')
        return textOf(value);
    value = nullptr;
    if (w.pcdGetDomainData(kVellDomainOrvo, payload, kConfigPathKey, &value) == kPCDSuccess &&
        value != nullptr && *value != '\0')
        return textOf(value);
    value = nullptr;
    if (w.vellGetPayloadData(payload, kVellDomainInstaller, kConfigPathKey, &value) == kPCDSuccess)
        return textOf(value);
    return {};
}

/// The folder that an application lies in by its payload's configuration file; "" where the file
/// does not lie deep enough. A path without a "." is the folder itself.
SoString applicationFolder(const SoString& configPath) {
    SoString folder(configPath);
    if (std::strchr(folder.data, '.') == nullptr)
        return folder;
    for (int level = 0; level < kLevelsToFolder; ++level) {
        const char* slash = std::strrchr(folder.data, '/');
        folder.shrink(slash == nullptr ? 0 : slash - folder.data);
    }
    return folder;
}

SoString candidatePath(const PXConnectorAppInfo& info, const PayloadJoin& join) {
    if (info.executableBasename.length == 0 || join.configPath.length == 0)
        return {};
    SoString path = applicationFolder(join.configPath);
    if (path.length == 0)
        return {};
    path << '/' << info.executableBasename;
    if (info.executableExtension.length != 0)
        path << '.' << info.executableExtension;
    else
        path << (info.isShellTool ? ".term" : ".app");
    return path;
}

}  // namespace

PCDInitLists::PCDInitLists(PXConnectorAppInfoList& appList, SoVector<SoString>& groupList)
    : apps(appList), groups(groupList) {}

PCDInitLists::~PCDInitLists() {
    joins.deleteAll();
}

void PCDInitLists::clearApps() {
    apps.clear();
    specifiers.clear();
}

bool PCDInitLists::onStart(PCDWrapper& w) {
    clearApps();
    groups.deleteAll();
    joins.deleteAll();

    const char** names = nullptr;
    const int status = w.pcdGetDomainDataSubdomains(kVellDomainOrvo, &names);
    if (status != kPCDSuccess)
        return static_cast<bool>(status);  // the status is the answer; the walk does not ask for it
    for (; names != nullptr && *names != nullptr; ++names)
        if (**names == '{')
            readJoins(w, *names);
    return true;
}

void PCDInitLists::readJoins(PCDWrapper& w, const char* payload) {
    const SoString configPath = configPathOf(w, payload);
    if (configPath.length == 0)
        return;
    SoString key(kCodeKey, -1);
    for (long number = 1;; ++number) {
        const char* code = nullptr;
        if (w.pcdGetDomainData(kVellDomainOrvo, payload, key.data, &code) != kPCDSuccess ||
            code == nullptr || *code == '\0')
            return;
        joins.append(new PayloadJoin{textOf(code).lowercase(), configPath});
        key.assign(kCodeKey, -1);
        key << number;
    }
}

bool PCDInitLists::onEnd(PCDWrapper& /*w*/) {
    return apps.resolveRedirectTo();
}

bool PCDInitLists::onError(PCDWrapper& /*w*/, const char* /*sub*/, const char* /*key*/) {
    clearApps();
    return false;
}

bool PCDInitLists::onAppInfo(PCDWrapper& /*w*/, PXConnectorAppInfo& info) {
    if (info.specifier.length == 0)
        return true;
    if (info.windowClassName.length == 0)
        info.windowClassName = Parlex::Specifier(info.specifier.data, false).appName();
    if (info.path.length == 0)
        derivePath(info);
    if (info.path.length != 0 || info.redirectTarget.length != 0)
        list(info);
    return true;
}

void PCDInitLists::derivePath(PXConnectorAppInfo& info) const {
    SoString code(kAppSubdomainPrefix);
    code << info.specifier.lowercase();
    for (long i = 0; i < joins.count; ++i)
        if (joins.at(i)->code == code)
            info.path = candidatePath(info, *joins.at(i));
}

void PCDInitLists::list(const PXConnectorAppInfo& info) {
    auto* copy = new PXConnectorAppInfo(info);
    if (specifiers.emplace(info.specifier.data).second)
        apps.appendNew(copy);
    else
        apps.append(copy);
}

bool PCDInitLists::onGroupInfo(PCDWrapper& /*w*/, const SoString& /*key*/, const SoString& value) {
    groups.append(new SoString(value));
    return true;
}

}  // namespace Vexil
