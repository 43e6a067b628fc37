#pragma once

#include <string>
#include <string_view>

#include "platform/core/crypto/Ed25519.h"

namespace tavik {

/// What is added to a file's name for that of its detached signature.
inline constexpr std::string_view kSignatureSuffix = ".sig";

/// A signature that stands in a file of its own beside what it signs (FILE.sig): the public key
/// that made it as a PEM block, and behind it the 64 bytes as a PEM block `ED25519 SIGNATURE`. A
/// key and its signature can be written in one way only.
std::string signDetached(std::string_view message, const PrivateKey& key);

/// The key that made the signature. Throws Ed25519Error where the text has another form, or the
/// signature is not the key's over the message.
PublicKey signerOf(std::string_view message, std::string_view signature);

}  // namespace tavik
