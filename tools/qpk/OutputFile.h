#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/support/FileDescriptor.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/Interruption.h"

namespace tavik::qpk {

/// A file that appears under its name whole or not at all: it is written without a name, where the
/// file system can do that, or under a hidden name beside it, which is gone with this object, and
/// where the process is interrupted, unless the file was finished. Only a regular file is replaced.
/// A link that has the name is refused, or stays one and what it leads to is replaced. Failures are
/// Errors about the file.
class OutputFile {
  public:
    OutputFile(std::string path, FinalLink link);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& path() const noexcept { return path_; }
    /// Where this process can read its bytes until it is finished.
    std::string temporaryPath() const;
    std::uint64_t size() const noexcept { return size_; }

    void write(std::string_view bytes);

    /// Replaces what has the name; durable. The first form gives the rights of a new file.
    void finish();
    void finish(mode_t mode);

  private:
    void giveTemporaryName();

    std::string path_;
    std::string target_;         // the path with its links followed
    std::string temporaryPath_;  // empty: it has no name
    std::optional<HalfFile> half_;
    FileDescriptor file_;
    std::uint64_t size_ = 0;
};

}  // namespace tavik::qpk
