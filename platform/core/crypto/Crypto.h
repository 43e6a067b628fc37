#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace tavik {

/// A digest that is fed piece by piece.
class Digest {
  public:
    virtual ~Digest() = default;
    virtual void update(std::string_view bytes) = 0;
    /// The digest in lower-case hexadecimal digits; the object is used up.
    virtual std::string finish() = 0;
};

/// The key that was read, or that made a signature; or why there is none.
struct KeyFinding {
    std::string fingerprint;  ///< SHA-256 of the public key's DER form in lower-case hex digits
    std::string fault;        ///< why there is none, in a few words; empty where there is one
};

/// The cryptography that the core needs, behind the module that brings its library.
class Crypto {
  public:
    virtual ~Crypto() = default;
    virtual std::unique_ptr<Digest> sha256() = 0;

    /// Reads an Ed25519 public key from its PEM text.
    virtual KeyFinding readPublicKey(std::string_view pem) = 0;

    /// Checks the content of a signature file, which names its key, against what it signs.
    virtual KeyFinding findSigner(std::string_view message, std::string_view signature) = 0;
};

}  // namespace tavik
