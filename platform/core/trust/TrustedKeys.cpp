#include "platform/core/trust/TrustedKeys.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/core/disk/SafeFolder.h"

namespace tavik {
namespace {

constexpr const char* kFolderName = "trusted-keys";
constexpr std::string_view kEnding = ".pem";
constexpr std::size_t kMaxKeyFileBytes = std::size_t{16} << 10;
constexpr std::size_t kMaxKeyFiles = 1000;

/// A hidden file is an editor's half-written one, and a README is no key.
bool isKeyName(std::string_view name) {
    return name.front() != '.' && name.size() > kEnding.size() &&
           name.substr(name.size() - kEnding.size()) == kEnding;
}

std::vector<std::string> keyNames(int folder, const std::string& path) {
    // A descriptor of its own: the stream closes it.
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        ::fdopendir(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), &::closedir);
    if (!stream)
        failErrno(errno, path, "read the folder");
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(stream.get()))
        if (isKeyName(entry->d_name))
            names.emplace_back(entry->d_name);
    if (names.size() > kMaxKeyFiles)
        fail(Status::keyInvalid, path, "more than " + std::to_string(kMaxKeyFiles) + " keys");
    std::sort(names.begin(), names.end());
    return names;
}

/// The keys' fingerprints.
std::vector<std::string> readKeys(const std::string& familyFolder, Crypto& crypto) {
    const FileDescriptor family = openSafeFolder(familyFolder);
    if (!family)
        return {};
    const std::string path = familyFolder + "/" + kFolderName;
    const FileDescriptor folder = openSafeFolder(family.get(), kFolderName, path);
    if (!folder)
        return {};
    std::vector<std::string> fingerprints;
    for (const std::string& name : keyNames(folder.get(), path)) {
        const std::string file = path + "/" + name;
        const auto pem =
            readSafeFile(folder.get(), name, kMaxKeyFileBytes, {file, Status::keyInvalid});
        if (!pem)  // It was taken away meanwhile.
            continue;
        KeyFinding key = crypto.readPublicKey(*pem);
        if (!key.fault.empty())
            fail(Status::keyInvalid, file, key.fault);
        fingerprints.push_back(std::move(key.fingerprint));
    }
    return fingerprints;
}

}  // namespace

bool TrustedKeys::contain(const std::string& fingerprint, Crypto& crypto) const {
    bool found = false;
    for (const std::string& folder : familyFolders_) {
        const auto keys = readKeys(folder, crypto);
        found = found || std::find(keys.begin(), keys.end(), fingerprint) != keys.end();
    }
    return found;
}

}  // namespace tavik
