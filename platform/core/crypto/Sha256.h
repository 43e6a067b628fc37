#pragma once

#include <openssl/evp.h>

#include <memory>

#include "platform/core/crypto/Crypto.h"

namespace tavik {

/// SHA-256 through OpenSSL.
class Sha256 final : public Digest {
  public:
    Sha256();
    void update(std::string_view bytes) override;
    std::string finish() override;

  private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context_;
};

}  // namespace tavik
