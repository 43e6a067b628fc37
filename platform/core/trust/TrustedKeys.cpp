#include "platform/core/trust/TrustedKeys.h"

#include <memory>
#include <mutex>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/trust/Digests.h"

namespace tavik {
namespace {

constexpr const char* kFolderName = "trusted-keys";
constexpr const char* kRevokedName = "revoked";
constexpr std::string_view kEnding = ".pem";
constexpr std::size_t kMaxKeyFileBytes = std::size_t{16} << 10;
constexpr std::size_t kMaxKeyFiles = 1000;

std::vector<std::string> keyNames(int folder, const std::string& path) {
    auto names = visibleNamesIn(folder, kEnding);
    if (names.size() > kMaxKeyFiles)
        fail(Status::keyInvalid, path, "more than " + std::to_string(kMaxKeyFiles) + " keys");
    return names;
}

/// Adds the fingerprints of the keys in the folder.
void readKeys(int folder, const std::string& path, Crypto& crypto,
              std::vector<std::string>& fingerprints) {
    for (const std::string& name : keyNames(folder, path)) {
        const std::string file = path + "/" + name;
        const auto pem = readSafeFile(folder, name, kMaxKeyFileBytes, {file, Status::keyInvalid});
        if (!pem)  // It was taken away meanwhile.
            continue;
        KeyFinding key = crypto.readPublicKey(*pem);
        if (!key.fault.empty())
            fail(Status::keyInvalid, file, key.fault);
        fingerprints.push_back(std::move(key.fingerprint));
    }
}

}  // namespace

/// What the folders hold, once it was read.
struct TrustedKeys::Keys {
    void read(Crypto& crypto) {
        trusted.clear();
        revoked.clear();
        for (const std::string& parent : folders) {
            const FileDescriptor above = openSafeFolder(parent);
            const std::string path = parent + "/" + kFolderName;
            const FileDescriptor folder =
                above ? openSafeFolder(above.get(), kFolderName, path) : FileDescriptor();
            if (!folder)
                continue;
            readKeys(folder.get(), path, crypto, trusted);
            const std::string revokedPath = path + "/" + kRevokedName;
            if (const auto back = openSafeFolder(folder.get(), kRevokedName, revokedPath))
                readKeys(back.get(), revokedPath, crypto, revoked);
        }
        isRead = true;
    }

    std::vector<std::string> folders;
    std::mutex mutex;
    bool isRead = false;
    std::vector<std::string> trusted;
    std::vector<std::string> revoked;
};

TrustedKeys::TrustedKeys(std::vector<std::string> folders) : keys_(std::make_shared<Keys>()) {
    keys_->folders = std::move(folders);
}

const TrustedKeys::Keys& TrustedKeys::keys(Crypto& crypto) const {
    const std::lock_guard<std::mutex> lock(keys_->mutex);
    if (!keys_->isRead)
        keys_->read(crypto);
    return *keys_;
}

bool TrustedKeys::contain(const std::string& fingerprint, Crypto& crypto) const {
    if (!keys_)
        return false;
    const Keys& all = keys(crypto);
    return isIn(all.trusted, fingerprint) && !isIn(all.revoked, fingerprint);
}

const std::vector<std::string>& TrustedKeys::trusted(Crypto& crypto) const {
    static const std::vector<std::string> kNone;
    return keys_ ? keys(crypto).trusted : kNone;
}

const std::vector<std::string>& TrustedKeys::revoked(Crypto& crypto) const {
    static const std::vector<std::string> kNone;
    return keys_ ? keys(crypto).revoked : kNone;
}

}  // namespace tavik
