#pragma once

#include <chrono>

#include "platform/core/disk/StoreFolder.h"

namespace tavik {

/// The right to change a store, held against other processes until this object ends. Whatever
/// changes a store takes one as an argument.
///
/// The lock is an flock on the file `.lock`, which is never deleted and which only its owner can
/// open: nobody else can hold a change up. The holder writes its process number into the file, for
/// the error of a process that waits in vain. If the file was deleted or replaced meanwhile, the
/// lock on it protects nothing: the process then takes the lock on the file that has the name now.
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
