#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/core/disk/SetAside.h"
#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/StoreLock.h"
#include "platform/core/package/Extraction.h"
#include "platform/core/store/ExtensionTable.h"
#include "platform/core/store/Settlement.h"
#include "platform/core/trust/Signer.h"

namespace tavik {

/// Told of trouble that does not undo a change: the next change repairs it.
using WarningSink = std::function<void(const Error&)>;

/// Told where files were set aside.
using SetAsideSink = std::function<void(const std::string& path)>;

/// What an install is told besides the package.
struct InstallDetails {
    enum class OlderVersion { refused, allowed };

    Signer signer;
    Progress progress;                            ///< may be empty
    std::shared_ptr<const ContentCheck> content;  ///< what the files are compared with; may be null
    OlderVersion olderVersion = OlderVersion::refused;  ///< than the installed one
    /// Where this is not empty, the files of the replaced folder that the package does not have
    /// are set aside before anything changes.
    SetAsideSink setAside{};
};

/// One change of a store, under its lock: the steps that Store puts together.
///
///  1. Take the lock. Read the database into memory. Nothing on the disk has changed.
///  2. Make the mark `staging/unfinished`. From here on, a change that ends anywhere leaves it.
///  3. publish(): extract the package into `staging/`, and rename the folder and its list of files
///     into `ext/`. Until a row names them they are garbage, which the mark announces.
///  4. commit(): write the rows as the next version of the database into `staging/`. One syncfs
///     makes mark, content and that file durable: after a power cut no row is without its folder.
///     Rename the file to `store.db`. This is the commit: before it nothing has happened, after it
///     everything has. Readers see the old file or the new one, and what they have open stays. One
///     fsync of the folder makes the commit durable. If it fails, the rename is undone, since the
///     answer "done" would not be true after a power cut. If that fails too, the change has
///     happened: it is done, and a warning says that the disk did not confirm it.
///  5. The links are switched, then retire() takes the replaced folder out of `ext/`. Trouble here
///     is a warning: the mark stays, and the next change or list goes on from the rows.
///  6. finish(): take the mark away, give the lock up, and delete what was retired. A crash during
///     the deletion leaves things in `staging/`, which the next change deletes.
///
/// A change that ends before its commit deletes what it published. What it cannot delete it leaves
/// to the mark.
class StoreChange {
  public:
    /// Takes the lock, waiting up to `patience`, and reads the database.
    StoreChange(const StoreFolder& folder, Settlement& settlement, const WarningSink& warn,
                std::chrono::milliseconds patience = StoreLock::kPatience);
    ~StoreChange();
    StoreChange(const StoreChange&) = delete;
    StoreChange& operator=(const StoreChange&) = delete;

    const StoreLock& lock() const noexcept { return lock_; }
    ExtensionTable& table() noexcept { return table_; }

    /// Whether the store is as the last change has left it, with nothing to compare.
    bool isInOrder() const noexcept { return isInOrder_; }

    /// Whether an earlier change was interrupted.
    bool wasInterrupted() const noexcept { return wasInterrupted_; }

    /// Writes the rows of a table that was read from anything but a sound database, and sets the
    /// files aside that it was read from. True where there was such a table.
    bool adoptTable();

    /// Compares `ext/` with the rows. A folder without a row is adopted, or else set aside; a row
    /// without its folder is named in a warning. True where rows were changed.
    bool reconcile();

    /// Gives the rows whose folder is missing another folder of their id, where there is one.
    void adoptForLostFolders();

    /// Sets aside what stands in `ext/` and belongs to no row. No link may lead to it.
    void setAsideUnknown();

    /// Deletes what stands in `staging/`, but for the mark: no row ever names any of it.
    void emptyStaging();

    /// Deletes what changes have put into `ext/` and no row names, sets aside what they have not
    /// put there, and takes the mark away. A database that was not whole from the start deletes
    /// nothing: it is reconciled.
    void sweep();

    /// Whether the row's folder stands below `ext/`.
    bool hasContent(const ExtensionRow& row) const;

    /// Makes the mark, where this change has not made it yet.
    void mark();

    /// Sets the files of the row's folder aside that the package does not have with that content.
    /// They stay where they are, and get a second name. Where that was, or empty.
    std::string setAsideOther(const ExtensionRow& row, const Package& package);

    /// Extracts the package and names it `ext/FOLDER`, its list of files beside it.
    void publish(const Package& package, const ExtensionRow& row, const InstallDetails& details);

    /// Commits the table's rows.
    void commit();

    /// Takes a folder that no row names any more out of `ext/`; finish() deletes it.
    void retire(const std::string& folder) noexcept;

    /// Leaves the mark where it is, for the next change to look after the links.
    void keepMark() noexcept { keepsMark_ = true; }

    /// Warns of a failure after the commit. Failures of the warning itself are ignored.
    void warn(const std::exception& failure) noexcept;

    /// Ends the change.
    void finish() noexcept;

  private:
    void stage(const Package& package, const ExtensionRow& row, const InstallDetails& details);
    void writeNextVersion();
    void keepPrevious() noexcept;
    void putInPlace();
    void answerUnconfirmed(int error);
    bool takeBack() noexcept;
    void undo() noexcept;
    void removeOrSetAside(int folder, const std::string& name);
    void setAsideDatabase(SetAside& place);
    void setAsideCompanions(SetAside place);
    void commitRepair();
    std::unordered_set<std::string> knownNames();
    bool isFirst() const noexcept;

    const StoreFolder& folder_;
    Settlement& settlement_;
    const WarningSink& warn_;
    StoreLock lock_;
    FileDescriptor staging_;
    FileDescriptor content_;
    bool isInOrder_ = false;
    ExtensionTable table_;
    bool wasInterrupted_;
    bool isWhole_;           ///< the database was sound when it was read
    std::string published_;  ///< below ext/, not yet committed
    std::string staged_;     ///< below staging/, the database's next version
    ino_t stagedFile_ = 0;
    std::string retired_;
    std::uint64_t databaseBytes_ = 0;
    bool isMarked_ = false;
    bool isCommitted_ = false;
    bool hasPrevious_ = false;
    bool keepsMark_ = false;
};

}  // namespace tavik
