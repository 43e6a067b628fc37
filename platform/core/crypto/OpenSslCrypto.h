#pragma once

#include "platform/core/crypto/Crypto.h"

namespace tavik {

/// The core's cryptography through OpenSSL; usable from any thread.
class OpenSslCrypto final : public Crypto {
  public:
    /// Throws std::bad_alloc where OpenSSL finds no memory for itself.
    OpenSslCrypto();

    std::unique_ptr<Digest> sha256() override;
    KeyFinding readPublicKey(std::string_view pem) override;
    KeyFinding findSigner(std::string_view message, std::string_view signature) override;
};

}  // namespace tavik
