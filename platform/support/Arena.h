#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace tavik {

/// Memory for many small things that are forgotten together, for less than an allocation each. What
/// it gives stays in its place as long as the arena lives, wherever that is moved.
class Arena {
  public:
    /// `alignment` is a power of two, that of any standard type at the most.
    void* allocate(std::size_t bytes, std::size_t alignment) {
        void* place = next_;
        if (std::align(alignment, bytes, place, left_) == nullptr) {
            grow(bytes);
            place = next_;
        }
        next_ = static_cast<char*>(place) + bytes;
        left_ -= bytes;
        return place;
    }

    /// A copy of the text, with a NUL behind it.
    std::string_view keep(std::string_view text) {
        auto* copy = static_cast<char*>(allocate(text.size() + 1, 1));
        std::copy(text.begin(), text.end(), copy);
        copy[text.size()] = '\0';
        return {copy, text.size()};
    }

  private:
    // Few texts take little memory, many take few allocations.
    static constexpr std::size_t kFirstBlock = 4096;
    static constexpr std::size_t kLargestBlock = 65536;

    /// A new block is aligned for any standard type.
    void grow(std::size_t atLeast) {
        left_ = std::max(atLeast, block_);
        block_ = std::min(2 * block_, kLargestBlock);
        blocks_.push_back(std::make_unique<char[]>(left_));
        next_ = blocks_.back().get();
    }

    std::vector<std::unique_ptr<char[]>> blocks_;
    std::size_t block_ = kFirstBlock;  ///< size of the next one
    char* next_ = nullptr;
    std::size_t left_ = 0;
};

}  // namespace tavik
