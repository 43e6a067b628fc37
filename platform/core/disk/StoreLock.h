#pragma once

#include <chrono>

#include "platform/core/disk/StoreFolder.h"

namespace tavik {

/// The right to change a store, held against other processes until this object ends. Whatever
/// changes a store takes one as an argument.
///
/// The lock is an flock on the file `.lock`, which is never deleted and which only its owner can
/// open: nobody else can hold a change up. Who holds it has written his process number into it, for
/// the failure of those who wait in vain. A file that was deleted or replaced while somebody waited
/// for it locks nothing: whoever gets such a lock goes back and takes the one that stands there
/// now.
class StoreLock {
  public:
    static constexpr std::chrono::milliseconds kPatience{30'000};

    /// Waits for the lock, up to `limit`; then throws Status::storeBusy, naming who holds it.
    explicit StoreLock(const StoreFolder& folder, std::chrono::milliseconds limit = kPatience);

    void release() noexcept { file_ = FileDescriptor(); }

  private:
    FileDescriptor file_;
};

}  // namespace tavik
