#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/crypto/Crypto.h"
#include "platform/core/package/PackageFile.h"

namespace tavik {

/// SHA-256 of the bytes in 64 lower-case hexadecimal digits.
std::string digestOf(std::string_view bytes, Crypto& crypto);

/// The same of all bytes of the file, read piece by piece. Throws what PackageFile::readAt throws.
std::string digestOf(const PackageFile& file, Crypto& crypto);

/// The digest that 64 hexadecimal digits of either case stand for, in lower case; nothing where the
/// text is anything else.
std::optional<std::string> parseDigest(std::string_view text);

/// Whether the digest, such as a key's fingerprint, is among them.
bool isIn(const std::vector<std::string>& digests, const std::string& digest);

/// Whether the text is a digest as our own files write it: 64 lower-case hexadecimal digits.
bool isDigestText(std::string_view text);

}  // namespace tavik
