#pragma once

#include <string>
#include <vector>

#include "platform/core/crypto/Crypto.h"

namespace tavik {

/// The public keys whose signatures this machine and its user trust: the files `trusted-keys/*.pem`
/// in the stores' family folders. Nothing is read before somebody asks.
class TrustedKeys {
  public:
    /// Trusts nobody.
    TrustedKeys() = default;
    /// Folders that do not exist have no keys.
    explicit TrustedKeys(std::vector<std::string> familyFolders)
        : familyFolders_(std::move(familyFolders)) {}

    /// Whether the key with that fingerprint is one of them. Reads all of them at each call, so
    /// that a broken file shows whatever is asked. Throws Error: keyInvalid naming a file that is
    /// no Ed25519 public key, storeUnsafe for a folder or a file that others could have written.
    bool contain(const std::string& fingerprint, Crypto& crypto) const;

  private:
    std::vector<std::string> familyFolders_;
};

}  // namespace tavik
