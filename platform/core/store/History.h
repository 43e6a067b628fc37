#pragma once

#include <cstddef>
#include <string>

#include "platform/core/store/ExtensionRow.h"

namespace tavik {

/// What a change did. The names are those of the history's table and of its readers.
enum class Operation { install, update, reinstall, remove, enable, disable, mask, unmask, repair };

const char* nameOf(Operation operation) noexcept;

/// One line of a store's history: a change and what it was made to.
struct HistoryLine {
    std::string time;       ///< RFC 3339, UTC
    std::string operation;  ///< see nameOf; a later version may write others
    std::string id;         ///< empty for a repair of the database itself
    std::string name;
    std::string from;  ///< the version before; empty where there was none
    std::string to;    ///< the version after; empty where there is none
    Actor by;
    std::string signer;  ///< of the version after, or before a removal; empty: unsigned
};

/// How many lines a store keeps: the newest.
inline constexpr std::size_t kMaxHistoryLines = 10'000;

/// The user whom this process works for, with the name that /etc/passwd has for the number. No
/// network directory is asked for it: that could take long.
Actor currentActor();

/// A line for a change of this moment by the current user.
HistoryLine newLine(Operation operation, const std::string& id, const std::string& name);

}  // namespace tavik
