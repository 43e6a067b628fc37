#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/support/DeferredTermination.h"
#include "platform/support/FileDescriptor.h"

namespace tavik {

/// A file that appears under its name complete or not at all. It is written without a name if the
/// file system supports that, otherwise under a hidden name beside it. Unless it is finished, it is
/// removed with this object, also where Ctrl-C, TERM or HUP ends the process meanwhile. Failures
/// are Errors about the file.
class AtomicFile {
  public:
    /// Replaces whatever has that name, also a link or a device, but not a folder.
    explicit AtomicFile(const std::string& path);
    /// `target` is replaced; failures name `path`, which led to it.
    AtomicFile(const std::string& path, const std::string& target);
    /// The file `name` in the open folder `folder`, wherever that folder's path leads by now;
    /// failures name `path`.
    AtomicFile(int folder, std::string name, std::string path);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    const std::string& path() const noexcept { return path_; }
    /// Where this process can read its bytes until it is finished.
    std::string temporaryPath() const;
    /// Of the bytes that write() has taken.
    std::uint64_t size() const noexcept { return size_; }
    /// Open for reading and writing, for whoever does not use write().
    int descriptor() const noexcept { return file_.get(); }

    void write(std::string_view bytes);

    /// Makes the content durable and replaces the file of that name. After a power cut, the name
    /// stands for all of the new file or all of the old one. The first form gives it the mode of a
    /// new file.
    void finish();
    void finish(mode_t mode);

    // The two halves of finish(), for several files that belong together.

    /// Makes the content durable; after it, only the name is missing.
    void sync();
    void sync(mode_t mode);
    void putInPlace();

  private:
    AtomicFile(FileDescriptor folder, std::string name, std::string path);
    template <class Make>
    void takeHiddenName(Make make, const char* action);
    void requireGoingOn() const;

    std::string path_;
    FileDescriptor folder_;
    std::string name_;                              // what is replaced in the folder
    std::string hiddenName_;                        // empty: it has no name
    std::optional<DeferredTermination> untilGone_;  // while it has a name that must not stay
    FileDescriptor file_;
    std::uint64_t size_ = 0;
};

}  // namespace tavik
