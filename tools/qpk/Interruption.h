#pragma once

#include <signal.h>

#include <string>

namespace tavik::qpk {

/// From here on Ctrl-C, TERM and HUP end the process as ever, but first delete the files that are
/// named below. A signal that is ignored stays so.
void handleInterruptions();

/// A file that goes with an interrupted process, until this object goes. Of more than a few at a
/// time, the rest is not watched over.
class HalfFile {
  public:
    explicit HalfFile(const std::string& path);
    ~HalfFile();
    HalfFile(const HalfFile&) = delete;
    HalfFile& operator=(const HalfFile&) = delete;

  private:
    int slot_;
};

/// Keeps interruptions waiting for a few system calls that belong together.
class NoInterruption {
  public:
    NoInterruption();
    ~NoInterruption();
    NoInterruption(const NoInterruption&) = delete;
    NoInterruption& operator=(const NoInterruption&) = delete;

  private:
    sigset_t before_{};
};

}  // namespace tavik::qpk
