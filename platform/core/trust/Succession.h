#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/core/crypto/Crypto.h"

namespace tavik {

/// What is added to a feed's path for the statements of succession beside it.
inline constexpr std::string_view kSuccessionSuffix = ".succession";

/// The largest file of such statements, in bytes.
inline constexpr std::size_t kMaxSuccessionBytes = std::size_t{64} << 10;

/// The statement of one key that another key takes its place.
struct Succession {
    std::string successor;  ///< fingerprint of the other key
    std::string
        signature;  ///< of successionStatement, by the key itself, in a signature file's form
};

/// The text that a key signs to name its successor. No package's list and no feed has this form, so
/// a signature on one cannot be used for another.
std::string successionStatement(const std::string& successor);

/// A file of statements, at most 16 of them; any order.
std::string writeSuccessions(const std::vector<Succession>& statements);

/// Throws JsonError.
std::vector<Succession> parseSuccessions(std::string_view json);

/// The keys whose place `key` takes: the one that named it, the one that named that one, and so on.
/// Statements by a key in `revoked` do not count. All are fingerprints. Throws JsonError also for a
/// statement whose signature is wrong.
std::vector<std::string> keysSucceededBy(const std::string& key,
                                         const std::vector<Succession>& statements,
                                         const std::vector<std::string>& revoked, Crypto& crypto);

}  // namespace tavik
