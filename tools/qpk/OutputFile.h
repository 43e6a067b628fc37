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

/// A file that appears under its name complete or not at all. It is written without a name if the
/// file system supports that, otherwise under a hidden name beside it. Unless it is finished, it is
/// removed with this object, and when the process is interrupted. Only a regular file is replaced.
/// If the name is a link, the link is refused, or it stays and its target is replaced. Failures are
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

    /// Replaces the file of that name, durably. The first form gives it the mode of a new file.
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
