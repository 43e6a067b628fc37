#pragma once

#include <openssl/evp.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tavik {

/// A text that is no valid key or signature; what() says why in a few words.
class Ed25519Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The largest key file, in bytes.
inline constexpr std::size_t kMaxKeyBytes = std::size_t{16} << 10;

/// A public key of Ed25519.
class PublicKey {
  public:
    /// `pem` has one block `PUBLIC KEY` (SubjectPublicKeyInfo), and no other. Throws Ed25519Error.
    static PublicKey parse(std::string_view pem);

    /// The block alone, as OpenSSL writes it.
    std::string pem() const;

    /// SHA-256 of its DER form (SubjectPublicKeyInfo) in lower-case hexadecimal digits.
    std::string fingerprint() const;

    /// Whether `signature` (64 bytes) is this key's over the message.
    bool verifies(std::string_view message, std::string_view signature) const;

  private:
    friend class PrivateKey;
    struct Free {
        void operator()(EVP_PKEY* key) const noexcept { EVP_PKEY_free(key); }
    };
    std::unique_ptr<EVP_PKEY, Free> key_;
};

/// A private key of Ed25519.
class PrivateKey {
  public:
    static PrivateKey generate();

    /// `pem` has one block `PRIVATE KEY` (PKCS #8); nobody is asked for a passphrase. Throws
    /// Ed25519Error.
    static PrivateKey parse(std::string_view pem);

    std::string pem() const;
    PublicKey publicKey() const;

    /// 64 bytes; the same message always gets the same.
    std::string sign(std::string_view message) const;

  private:
    std::unique_ptr<EVP_PKEY, PublicKey::Free> key_;
};

}  // namespace tavik
