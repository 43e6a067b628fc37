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

/// The cryptography that the core needs, behind the module that brings its library.
class Crypto {
  public:
    virtual ~Crypto() = default;
    virtual std::unique_ptr<Digest> sha256() = 0;
};

}  // namespace tavik
