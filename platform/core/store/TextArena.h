#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

namespace tavik {

/// Keeps copies of many short texts that are forgotten together, for less than an allocation each.
class TextArena {
  public:
    /// A copy that lives as long as the arena, wherever that is moved.
    std::string_view keep(std::string_view text) {
        if (text.size() > left_)
            grow(text.size());
        std::memcpy(next_, text.data(), text.size());
        const std::string_view kept(next_, text.size());
        next_ += text.size();
        left_ -= text.size();
        return kept;
    }

  private:
    static constexpr std::size_t kBlock = 65536;

    void grow(std::size_t atLeast) {
        left_ = atLeast > kBlock ? atLeast : kBlock;
        blocks_.push_back(std::make_unique<char[]>(left_));
        next_ = blocks_.back().get();
    }

    std::vector<std::unique_ptr<char[]>> blocks_;
    char* next_ = nullptr;
    std::size_t left_ = 0;
};

}  // namespace tavik
