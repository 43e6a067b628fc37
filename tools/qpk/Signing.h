#pragma once

#include <string>
#include <vector>

#include "platform/core/crypto/Ed25519.h"
#include "platform/core/trust/Signer.h"
#include "platform/core/trust/Succession.h"
#include "platform/support/Undumpable.h"

namespace tavik::qpk {

/// The rules for authors' packages: any key may have signed them, or none.
TrustRules authorRules();

/// The cryptography that the rules use. It lives as long as the process.
Crypto& authorCrypto();

/// A private key, which nobody can read from this process's memory meanwhile.
struct SigningKey {
    Undumpable held;
    PrivateKey key;
    std::vector<Succession> succession;  ///< how it came into the place of other keys
};

/// For the help of the commands that sign.
inline constexpr const char* kKeyHelp =
    "  --key KEY  the private key: the file that qpk keygen wrote; fd:N for an open descriptor;\n"
    "             env:NAME for the text of an environment variable. Where KEY is a file NAME.key\n"
    "             and NAME.succession.json stands beside it, that goes along: it says whose place\n"
    "             the key takes\n";

/// Whether the key's source is a file.
bool isKeyFile(const std::string& source);

/// Reads the key from where the option says. Throws Error (keyInvalid) about the source.
SigningKey readSigningKey(const std::string& source);

/// The file of the statements about the key in that file.
std::string successionFileOf(const std::string& keyFile);

}  // namespace tavik::qpk
