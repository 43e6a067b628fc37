#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik {

/// Owns an open file descriptor; -1 for none. Closing ignores errors: what must be durable is
/// synchronised before.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor();

    int get() const noexcept { return descriptor_; }
    explicit operator bool() const noexcept { return descriptor_ >= 0; }

    /// Gives the descriptor up; the caller closes it.
    int release() noexcept;

  private:
    int descriptor_ = -1;
};

/// The system's text for an errno value, in English.
std::string errnoText(int error);

/// Writes all bytes, however many calls that takes; false with errno set where one failed.
bool writeAll(int descriptor, std::string_view bytes) noexcept;

/// Reads what one call gives, `size` bytes at the most; 0 at the end. Throws std::system_error.
std::size_t readOnce(int descriptor, char* bytes, std::size_t size);

/// Reads from where the descriptor stands to its end, `limit` bytes at the most. `limit + 1` bytes
/// come back from a longer file, so that the caller can tell. Throws std::system_error.
std::string readUpTo(int descriptor, std::size_t limit);

}  // namespace tavik
