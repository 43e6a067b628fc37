#pragma once

#include <cstring>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/support/Arena.h"

namespace tavik::vell {

/// The texts, lists and records that a session has handed out; they live as long as it does.
class Kept {
  public:
    const char* text(std::string_view text) { return memory_.keep(text).data(); }

    /// The entries and a closing null.
    const char** list(const std::vector<const char*>& entries) {
        const auto bytes = (entries.size() + 1) * sizeof(const char*);
        auto* copy = static_cast<const char**>(memory_.allocate(bytes, alignof(const char*)));
        if (!entries.empty())
            std::memcpy(copy, entries.data(), entries.size() * sizeof(const char*));
        copy[entries.size()] = nullptr;
        return copy;
    }

    /// Only for records without a destructor of their own.
    template <typename Record>
    Record* record(const Record& value) {
        static_assert(std::is_trivially_destructible_v<Record>);
        return new (memory_.allocate(sizeof(Record), alignof(Record))) Record(value);
    }

  private:
    Arena memory_;
};

}  // namespace tavik::vell
