#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/package/Extraction.h"
#include "platform/core/store/ExtensionTable.h"

namespace tavik {

/// One change of a store, under its lock: the steps that the store puts together.
///
/// `staging/` holds a mark from before the commit until the last step after it, so an empty
/// `staging/` means that the last change was finished.
class StoreChange {
  public:
    /// Takes the lock and opens what the change works on, making what is missing.
    explicit StoreChange(const StoreFolder& folder);

    const StoreLock& lock() const noexcept { return lock_; }
    ExtensionTable& table() { return table_.value(); }

    /// Whether an earlier change was interrupted.
    bool wasInterrupted() const;

    /// Deletes what stands in `staging/`, but for the mark: no row ever names any of it.
    void emptyStaging();

    /// Deletes the folders below `ext/` that no row names, and takes the mark away.
    void sweep();

    /// Sets the mark. It is durable on return, so that no commit can be without it.
    void mark();

    /// Extracts the package, makes it durable and names it `ext/FOLDER`; sets the mark as well. On
    /// failure nothing stays. `check`, which may be null, judges the files as extractInto says.
    void publish(const Package& package, const std::string& folder, const Progress& progress,
                 const ContentCheck* check);

    /// Runs `work`, which commits. Where it fails, the database is asked anew whether `isDone`
    /// holds, since a commit may have failed only in its answer; if not, `undo` runs and the
    /// failure goes on.
    void commit(const std::function<void(ExtensionTable&)>& work,
                const std::function<bool(ExtensionTable&)>& isDone,
                const std::function<void()>& undo);

    /// Deletes a published folder that was not committed.
    void discard(const std::string& folder) noexcept;

    /// Takes a folder that no row names any more out of `ext/`; finish() deletes it.
    void retire(const std::string& folder) noexcept;

    /// Leaves the mark where it is, for the next change to look after the links.
    void keepMark() noexcept { keepsMark_ = true; }

    /// Ends the change: takes the mark away, gives the lock up, deletes what was retired, and sees
    /// to the reserve.
    void finish() noexcept;

  private:
    void makeMark();
    void removeMark() noexcept;
    void makeDurable();

    const StoreFolder& folder_;
    StoreLock lock_;
    FileDescriptor staging_;
    FileDescriptor content_;
    std::optional<ExtensionTable> table_;
    std::vector<std::string> retired_;
    bool keepsMark_ = false;
};

/// A name for a new folder of the extension below `ext/`, different each time.
std::string newFolderName(const std::string& id);

}  // namespace tavik
