#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/support/FileDescriptor.h"

namespace tavik {

/// What is done with a link at the end of the path.
enum class FinalLink { refused, followed };

/// A regular file that is open, or why it is not.
struct RegularFile {
    FileDescriptor descriptor;  ///< invalid where the file was not opened
    struct stat info {};        ///< of the open file
    int error = 0;              ///< errno value; 0 where `refusal` says why, or all is well
    std::string refusal;        ///< "it is a link", "it is a folder" and the like; else empty

    explicit operator bool() const noexcept { return static_cast<bool>(descriptor); }
    /// Why it was not opened, in a few words.
    std::string cause() const { return error != 0 ? errnoText(error) : refusal; }
};

/// The one way to open a file whose content somebody else chose. It never waits, also where a pipe
/// or a terminal stands in the file's place, and it hands out regular files alone. `path` is
/// relative to the open folder `folder`, which may be AT_FDCWD. Does not throw for what it meets.
RegularFile openRegularFile(int folder, const std::string& path, FinalLink link);
RegularFile openRegularFile(const std::string& path, FinalLink link);

/// The same for a file that is opened for reading and writing. A missing file is made with the
/// rights `mode`. A link is refused.
RegularFile openOrMakeRegularFile(int folder, const std::string& path, mode_t mode);

/// The same for a descriptor that is open already.
RegularFile asRegularFile(FileDescriptor descriptor);

}  // namespace tavik
