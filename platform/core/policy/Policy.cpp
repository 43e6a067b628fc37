#include "platform/core/policy/Policy.h"

#include <algorithm>

#include "platform/core/disk/SafeFolder.h"
#include "platform/core/policy/PolicyFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/Json.h"

namespace tavik {
namespace {

constexpr const char* kFileName = "policy.json";

bool names(const Policy::IdList& list, const std::string& idKey) {
    return std::any_of(list.begin(), list.end(), [&](const std::string& each) {
        const std::size_t size = each.size() - 1;
        return each.back() == '*' ? idKey.compare(0, size, each, 0, size) == 0 : idKey == each;
    });
}

bool covers(const std::vector<AddressPrefix>& list, const Address& address) {
    return std::any_of(list.begin(), list.end(),
                       [&](const AddressPrefix& each) { return each.covers(address); });
}

std::optional<PolicyFile> readPolicyFile(const std::string& folderPath) {
    const FileDescriptor folder = openSafeFolder(folderPath);
    if (!folder)
        return std::nullopt;
    const std::string path = folderPath + "/" + kFileName;
    const auto json =
        readSafeFile(folder.get(), kFileName, kMaxPolicyBytes, {path, Status::policyInvalid});
    if (!json)
        return std::nullopt;
    try {
        return parsePolicyFile(*json);
    } catch (const JsonError& error) {
        fail(Status::policyInvalid, path, error.what());
    }
}

}  // namespace

bool Policy::allowsExtension(const std::string& idKey) const {
    return !names(deny, idKey) && std::all_of(allow.begin(), allow.end(), [&](const IdList& list) {
        return names(list, idKey);
    });
}

bool Policy::allowsFeed(const Address& address) const {
    return std::all_of(feeds.begin(), feeds.end(),
                       [&](const auto& list) { return covers(list, address); });
}

Address Policy::route(const Address& address) const {
    for (const Redirect& redirect : redirects)
        if (redirect.from.covers(address))
            return redirect.apply(address);
    return address;
}

void requireAllowedExtension(const Policy& policy, const std::string& idKey,
                             const std::string& subject) {
    if (!policy.allowsExtension(idKey))
        fail(Status::policyForbids, subject, "extension " + idKey);
}

Policy loadPolicy(const std::vector<std::string>& folders) {
    std::vector<PolicyFile> files;
    for (const std::string& folder : folders)
        if (auto file = readPolicyFile(folder))
            files.push_back(*std::move(file));
    return combine(files);
}

}  // namespace tavik
