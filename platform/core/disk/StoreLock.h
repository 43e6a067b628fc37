#pragma once

#include <chrono>

#include "platform/core/disk/StoreFolder.h"

namespace tavik {

/// The right to change a store, held against other processes until this object ends. Whatever
/// changes a store takes one as an argument.
class StoreLock {
  public:
    /// Waits for the lock, up to `limit`; then throws Status::storeBusy.
    explicit StoreLock(const StoreFolder& folder,
                       std::chrono::milliseconds limit = std::chrono::seconds(30));

    void release() noexcept { file_ = FileDescriptor(); }

  private:
    FileDescriptor file_;
};

}  // namespace tavik
