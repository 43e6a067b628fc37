#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/core/crypto/Crypto.h"

namespace tavik {

/// The public keys whose signatures this machine and its user trust: the files `trusted-keys/*.pem`
/// in the administrator's folder and in the stores' family folders; and those whose signatures no
/// longer count: `trusted-keys/revoked/*.pem`. The folders are read once, when somebody first asks.
/// Copies of the object share what was read. Usable from any thread.
class TrustedKeys {
  public:
    /// Trusts nobody.
    TrustedKeys() = default;
    /// Folders that do not exist have no keys.
    explicit TrustedKeys(std::vector<std::string> folders);

    /// Whether the key with that fingerprint is one of them, and was not taken back. Throws Error:
    /// keyInvalid naming a file that is no Ed25519 public key, storeUnsafe for a folder or a file
    /// that others could have written.
    bool contain(const std::string& fingerprint, Crypto& crypto) const;

    /// The fingerprints of all files in `trusted-keys`, also of those that were taken back. Throws
    /// as contain.
    const std::vector<std::string>& trusted(Crypto& crypto) const;

    /// The fingerprints of the keys that were taken back. Throws as contain.
    const std::vector<std::string>& revoked(Crypto& crypto) const;

  private:
    struct Keys;
    const Keys& keys(Crypto& crypto) const;

    std::shared_ptr<Keys> keys_;  ///< null: nobody is trusted
};

}  // namespace tavik
