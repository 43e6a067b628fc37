#pragma once

#include <cstddef>
#include <string_view>

namespace tavik {

/// Memory for the bytes of a large file. Nobody clears it before it is filled, and most of it comes
/// in huge pages where the system has them: for a file of 2 MB, the faults of small pages take
/// longer than reading it. Not for many small things.
class PageMemory {
  public:
    PageMemory() = default;
    /// `spare`: room behind the bytes, which takes no memory before it is used. Throws
    /// std::bad_alloc.
    explicit PageMemory(std::size_t bytes, std::size_t spare = 0);
    PageMemory(PageMemory&& other) noexcept;
    PageMemory& operator=(PageMemory&& other) noexcept;
    ~PageMemory();

    char* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }
    std::string_view view() const noexcept { return {data_, size_}; }

    /// The bytes and what is spare.
    std::size_t capacity() const noexcept { return capacity_; }

    /// Makes bytes at the end spare. The others stay where they are.
    void shrinkTo(std::size_t bytes) noexcept { size_ = bytes; }

  private:
    void swap(PageMemory& other) noexcept;

    void* mapping_ = nullptr;
    std::size_t mapped_ = 0;
    char* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace tavik
