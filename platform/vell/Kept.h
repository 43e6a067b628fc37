#pragma once

#include <cstring>
#include <memory_resource>
#include <string_view>
#include <vector>

namespace tavik::vell {

/// The texts, lists and records that a session has handed out; they live as long as it does.
class Kept {
  public:
    const char* text(std::string_view text) {
        auto* copy = static_cast<char*>(memory_.allocate(text.size() + 1, 1));
        std::memcpy(copy, text.data(), text.size());
        copy[text.size()] = '\0';
        return copy;
    }

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
    std::pmr::monotonic_buffer_resource memory_;
};

}  // namespace tavik::vell
