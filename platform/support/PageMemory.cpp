#include "platform/support/PageMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

namespace tavik {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
/// Less than this is not worth a huge page, all of which the system clears.
constexpr std::size_t kWorthwhile = kHugePage / 4;

}  // namespace

PageMemory::PageMemory(std::size_t bytes, std::size_t spare)
    : size_(bytes), capacity_(bytes + spare) {
    const std::size_t whole = bytes / kHugePage + (bytes % kHugePage >= kWorthwhile ? 1 : 0);
    // A huge page begins at a multiple of its size. What is mapped for that is never touched and
    // takes no memory.
    mapped_ = std::max(capacity_, std::max<std::size_t>(whole * kHugePage, 1)) +
              (whole != 0 ? kHugePage : 0);
    mapping_ = ::mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping_ == MAP_FAILED)
        throw std::bad_alloc();
    data_ = static_cast<char*>(mapping_);
    if (whole == 0)
        return;
    data_ += (kHugePage - reinterpret_cast<std::uintptr_t>(data_) % kHugePage) % kHugePage;
    // Without huge pages, the usual ones do.
    static_cast<void>(::madvise(data_, whole * kHugePage, MADV_HUGEPAGE));
}

PageMemory::PageMemory(PageMemory&& other) noexcept {
    swap(other);
}

PageMemory& PageMemory::operator=(PageMemory&& other) noexcept {
    PageMemory old(std::move(*this));
    swap(other);
    return *this;
}

PageMemory::~PageMemory() {
    if (mapping_ != nullptr)
        ::munmap(mapping_, mapped_);
}

void PageMemory::swap(PageMemory& other) noexcept {
    std::swap(mapping_, other.mapping_);
    std::swap(mapped_, other.mapped_);
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
}

}  // namespace tavik
