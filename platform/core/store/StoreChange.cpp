// The steps and the crash that each of them answers stand in StoreChange.h.

#include "platform/core/store/StoreChange.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/RegularFile.h"
#include "platform/core/disk/Reserve.h"
#include "platform/core/disk/Stamp.h"
#include "platform/core/disk/TreeRemoval.h"
#include "platform/core/status/Status.h"
#include "platform/core/store/ChangeMark.h"
#include "platform/core/store/EarlierForm.h"
#include "platform/core/store/FileComparison.h"
#include "platform/core/store/FileList.h"
#include "platform/core/store/FolderName.h"
#include "platform/core/store/Rebuild.h"
#include "platform/core/store/StoreImage.h"

namespace tavik {
namespace {

constexpr mode_t kFileMode = 0644;
constexpr const char* kUpgraded = "upgraded";
constexpr const char* kDamaged = "damaged";
constexpr const char* kUnknown = "unknown";
constexpr const char* kUndeletable = "undeletable";
constexpr const char* kReplaced = "replaced";

/// Makes the file, lets `write` fill it and gives its inode number.
template <class Write>
ino_t writeNewFile(int folder, const std::string& name, const std::string& path, Write write) {
    const FileDescriptor file(::openat(
        folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
    // The umask took rights away that all readers need.
    if (!file || ::fchmod(file.get(), kFileMode) != 0)
        failErrno(errno, path, "make the file");
    write([&](std::string_view bytes) {
        if (!writeAll(file.get(), bytes))
            failErrno(errno, path, "write the file");
    });
    struct stat info {};
    if (::fstat(file.get(), &info) != 0)
        failErrno(errno, path, "look at the file");
    return info.st_ino;
}

void rename(int from, const std::string& name, int to, const std::string& newName,
            const std::string& path) {
    if (::renameat(from, name.c_str(), to, newName.c_str()) != 0)
        failErrno(errno, path, "name it");
}

/// Whether a change gives such names to what it puts into ext/.
bool isMadeByChange(const std::string& name) {
    return isFolderName(isFileList(name) ? folderOfList(name) : name);
}

}  // namespace

StoreChange::StoreChange(const StoreFolder& folder, Settlement& settlement, const WarningSink& warn,
                         std::chrono::milliseconds patience)
    : folder_(folder),
      settlement_(settlement),
      warn_(warn),
      lock_(folder, patience),
      staging_(folder.subfolder("staging")),
      content_(folder.subfolder("ext")),
      table_(ExtensionTable::openForWriting(
          folder, lock_,
          [this](const std::string& seal) { return isInOrder_ = settlement_.isInOrder(seal); })),
      wasInterrupted_(!namesIn(staging_.get()).empty()),
      isWhole_(table_.origin() == ExtensionTable::Origin::sound ||
               table_.origin() == ExtensionTable::Origin::fresh) {}

StoreChange::~StoreChange() {
    if (!isCommitted_)
        undo();
}

bool StoreChange::isFirst() const noexcept {
    return table_.origin() == ExtensionTable::Origin::fresh;
}

std::unordered_set<std::string> StoreChange::knownNames() {
    std::unordered_set<std::string> known;
    for (auto& folder : table_.readFolders()) {
        known.insert(fileListOf(folder));
        known.insert(std::move(folder));
    }
    return known;
}

bool StoreChange::reconcile() {
    FolderDigest present;
    visitNames(content_.get(), [&](std::string_view name) {
        if (!isFileList(name))
            present.add(name);
    });
    if (present == table_.folderDigest())
        return false;

    settlement_.distrust();
    const auto names = namesIn(content_.get());
    const bool isAdopted = adoptFolders(table_, content_.get(), names) != 0;
    const std::unordered_set<std::string> folders(names.begin(), names.end());
    for (const auto& row : table_.readAll())
        if (folders.count(row.folder) == 0)
            warn(Error(static_cast<int>(Status::filesMissing), row.name,
                       folder_.path() + "/ext/" + row.folder));
    if (isAdopted)
        commitRepair();
    setAsideUnknown();
    return isAdopted;
}

/// Commits a repair before the change that found it necessary.
void StoreChange::commitRepair() {
    table_.addHistory(newLine(Operation::repair, "", kDatabaseName));
    commit();
    isCommitted_ = false;
}

/// A folder that could not be adopted is not deleted: it may be an extension that somebody misses.
void StoreChange::setAsideUnknown() {
    const auto known = knownNames();
    SetAside place(folder_, kUnknown);
    for (const auto& name : namesIn(content_.get()))
        if (known.count(name) == 0 && !(isWhole_ && wasInterrupted_ && isMadeByChange(name)) &&
            place.take(content_.get(), name) && !isFileList(name))
            warn(Error(static_cast<int>(Status::folderSetAside), "ext/" + name, place.path()));
}

/// After an older database has been put back, a folder without a row may be all that there is of an
/// extension: the row whose folder is missing gets it, before a sweep would delete it.
void StoreChange::adoptForLostFolders() {
    const auto names = namesIn(content_.get());
    const std::unordered_set<std::string> present(names.begin(), names.end());
    std::vector<std::string> candidates;
    for (const auto& row : table_.readAll())
        if (present.count(row.folder) == 0)
            std::copy_if(names.begin(), names.end(), std::back_inserter(candidates),
                         [&](const std::string& name) { return isFolderNameOf(name, row.id); });
    if (!candidates.empty() && adoptFolders(table_, content_.get(), candidates) != 0)
        commitRepair();
}

bool StoreChange::adoptTable() {
    if (isWhole_) {
        // The files that an upgrade set aside are not needed any more. An upgrade that was
        // interrupted after its commit has left the log.
        SetAside::clear(folder_, kUpgraded);
        if (wasInterrupted_)
            setAsideCompanions(SetAside(folder_, kUpgraded));
        return false;
    }
    const bool isUpgrade = table_.origin() == ExtensionTable::Origin::earlierForm;
    if (table_.trouble())
        warn(*table_.trouble());
    mark();
    SetAside place(folder_, isUpgrade ? kUpgraded : kDamaged);
    setAsideDatabase(place);
    commitRepair();
    setAsideCompanions(std::move(place));
    return true;
}

/// A file is copied: it keeps its name until the rename puts the new one in its place. What is no
/// file, or too large for one of ours, is moved: a rename does not replace a folder. A crash before
/// the commit then leaves a store without a database, which is built anew in the same way.
void StoreChange::setAsideDatabase(SetAside& place) {
    const RegularFile old =
        openRegularFile(folder_.descriptor(), kDatabaseName, FinalLink::refused);
    if (old && old.info.st_size <= off_t{kMaxImageBytes})
        place.keepCopy(kDatabaseName, readUpTo(old.descriptor.get(), kMaxImageBytes));
    else
        place.take(folder_.descriptor(), kDatabaseName);
}

/// SQLite would replay the log into whatever database stands beside it.
void StoreChange::setAsideCompanions(SetAside place) {
    for (const char* name : kEarlierCompanions)
        place.take(folder_.descriptor(), name);
}

void StoreChange::emptyStaging() {
    for (const auto& name : namesIn(staging_.get()))
        if (!isMark(name))
            removeOrSetAside(staging_.get(), name);
}

void StoreChange::sweep() {
    if (!isWhole_) {
        reconcile();
    } else {
        const auto known = knownNames();
        for (const auto& name : namesIn(content_.get()))
            if (known.count(name) == 0 && isMadeByChange(name))
                removeOrSetAside(content_.get(), name);
        setAsideUnknown();
    }
    if (!keepsMark_)
        removeMarks(staging_.get());
}

/// Something that this user may not delete is set aside, or every later change would find
/// unfinished work. After any other failure the mark stays until the deletion works.
void StoreChange::removeOrSetAside(int folder, const std::string& name) {
    if (removeTree(folder, name))
        return;
    const int error = errno;
    if (error != EACCES && error != EPERM) {
        keepMark();
        return;
    }
    SetAside place(folder_, kUndeletable);
    if (place.take(folder, name))
        warn(Error(static_cast<int>(statusOfErrno(error)), place.path() + "/" + name,
                   "delete it: " + errnoText(error)));
}

bool StoreChange::hasContent(const ExtensionRow& row) const {
    struct stat info {};
    if (::fstatat(content_.get(), row.folder.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0)
        return S_ISDIR(info.st_mode);
    if (errno != ENOENT)
        failErrno(errno, folder_.path() + "/ext/" + row.folder, "look at the folder");
    return false;
}

void StoreChange::mark() {
    if (!isMarked_)
        setMark(staging_.get(), isFirst() ? MarkKind::first : MarkKind::usual);
    isMarked_ = true;
}

std::string StoreChange::setAsideOther(const ExtensionRow& row, const Package& package) {
    const FileDescriptor folder(::openat(content_.get(), row.folder.c_str(),
                                         O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    // Only a folder that is gone holds nothing of the user's.
    if (!folder && errno != ENOENT)
        failErrno(errno, folder_.path() + "/ext/" + row.folder, "open the folder");
    const auto others = folder ? filesBeside(package, folder.get()) : std::vector<std::string>();
    SetAside place(folder_, kReplaced);
    for (const std::string& path : others)
        place.keepName(folder.get(), path);
    return others.empty() ? "" : place.path();
}

void StoreChange::publish(const Package& package, const ExtensionRow& row,
                          const InstallDetails& details) {
    mark();
    published_ = row.folder;
    stage(package, row, details);
    const std::string path = folder_.path() + "/ext/" + row.folder;
    const Settlement::Step step(settlement_, "ext");
    // The names have never been used: a plain rename replaces nothing.
    rename(staging_.get(), fileListOf(row.folder), content_.get(), fileListOf(row.folder), path);
    rename(staging_.get(), row.folder, content_.get(), row.folder, path);
}

void StoreChange::stage(const Package& package, const ExtensionRow& row,
                        const InstallDetails& details) {
    const std::string path = folder_.path() + "/staging/" + row.folder;
    if (::mkdirat(staging_.get(), row.folder.c_str(), 0755) != 0)
        failErrno(errno, path, "make the folder");
    const FileDescriptor staged(::openat(staging_.get(), row.folder.c_str(),
                                         O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!staged || ::fchmod(staged.get(), 0755) != 0)
        failErrno(errno, path, "set the folder's rights");
    extractInto(package, staged.get(), details.progress, details.content.get());
    writeNewFile(staging_.get(), fileListOf(row.folder), path,
                 [&](const auto& write) { write(fileListText(row, package)); });
}

void StoreChange::commit() {
    mark();
    writeNextVersion();
    // One call for the files, the folders, their names and the mark. A failure is final: the system
    // reports a lost write only once.
    if (::syncfs(staging_.get()) != 0)
        failErrno(errno, folder_.path(), "synchronise the files");
    keepPrevious();
    putInPlace();
    if (::fsync(folder_.descriptor()) != 0)
        answerUnconfirmed(errno);
    isCommitted_ = true;
    staged_.clear();
    published_.clear();
    table_.noteWritten();
}

void StoreChange::writeNextVersion() {
    staged_ = std::string(kDatabaseName) + "." + newToken();
    databaseBytes_ = 0;
    stagedFile_ = writeNewFile(staging_.get(), staged_, folder_.path() + "/" + kDatabaseName,
                               [&](const auto& write) {
                                   table_.writeFile([&](std::string_view bytes) {
                                       write(bytes);
                                       databaseBytes_ += bytes.size();
                                   });
                               });
}

/// A hard link keeps the current version when the next one replaces it. It only helps a rebuild, so
/// a file system without hard links does without.
void StoreChange::keepPrevious() noexcept {
    if (table_.origin() != ExtensionTable::Origin::sound)
        return;
    ::unlinkat(folder_.descriptor(), kPreviousName, 0);
    hasPrevious_ =
        ::linkat(folder_.descriptor(), kDatabaseName, folder_.descriptor(), kPreviousName, 0) == 0;
}

void StoreChange::putInPlace() {
    const std::string path = folder_.path() + "/" + kDatabaseName;
    if (::renameat(staging_.get(), staged_.c_str(), folder_.descriptor(), kDatabaseName) == 0)
        return;
    const int error = errno;
    // On a network file system the rename may have worked although it failed: the file that has the
    // name decides.
    struct stat info {};
    if (::fstatat(folder_.descriptor(), kDatabaseName, &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (info.st_ino == stagedFile_)
            return;
    } else if (errno != ENOENT) {
        isCommitted_ = true;  // not known: what was published stays, and the next change finds out
    }
    failErrno(error, path, "put the database in place");
}

/// The disk did not confirm the commit. The change fails where it can be taken back; else it has
/// happened, and is told as what it is.
void StoreChange::answerUnconfirmed(int error) {
    const bool isBack = takeBack();
    // Where the new version stays, so does what its rows name.
    isCommitted_ = !isBack;
    const std::string action = "synchronise the folder";
    if (isBack) {
        // If this is not confirmed either, a power cut may still bring the new version. Then what
        // its rows name must be there: the mark lets the next change decide.
        if (::fsync(folder_.descriptor()) != 0) {
            published_.clear();
            keepsMark_ = true;
        }
        failErrno(error, folder_.path(), action);
    }
    try {
        failErrno(error, folder_.path(),
                  "the change is done, but a power cut may undo it: " + action);
    } catch (const std::exception& failure) {
        warn(failure);
    }
}

/// Makes the version before the commit the current one again. False where that fails too.
bool StoreChange::takeBack() noexcept {
    if (hasPrevious_)
        return ::renameat(folder_.descriptor(), kPreviousName, folder_.descriptor(),
                          kDatabaseName) == 0;
    return isFirst() && ::unlinkat(folder_.descriptor(), kDatabaseName, 0) == 0;
}

void StoreChange::undo() noexcept {
    if (!isMarked_)
        return;
    bool isGone = true;
    try {
        if (!staged_.empty())
            isGone = removeTree(staging_.get(), staged_);
        if (!published_.empty())
            for (const auto& name : {published_, fileListOf(published_)})
                for (const int folder : {staging_.get(), content_.get()})
                    isGone = removeTree(folder, name) && isGone;
    } catch (const std::exception&) {
        isGone = false;
    }
    if (isGone && !keepsMark_)
        removeMarks(staging_.get());
}

void StoreChange::retire(const std::string& folder) noexcept {
    try {
        const std::string list = fileListOf(folder);
        retired_ = folder;
        const Settlement::Step step(settlement_, "ext");
        const auto isThere = [](int result) { return result != 0 && errno != ENOENT; };
        if (isThere(::unlinkat(content_.get(), list.c_str(), 0)) ||
            isThere(::renameat(content_.get(), folder.c_str(), staging_.get(), folder.c_str())))
            keepMark();
    } catch (const std::exception&) {
        keepMark();
    }
}

void StoreChange::warn(const std::exception& failure) noexcept {
    try {
        if (const auto* error = dynamic_cast<const Error*>(&failure))
            warn_(*error);
        else
            warn_(Error(static_cast<int>(Status::outOfMemory), folder_.path(), failure.what()));
    } catch (const std::exception&) {
        // There is no memory for the line: only the mark tells the next change.
    }
}

void StoreChange::finish() noexcept {
    if (!keepsMark_) {
        removeMarks(staging_.get());
        settlement_.write(table_.seal());
    }
    // Without the lock, a mark is another process's.
    isMarked_ = false;
    lock_.release();
    try {
        if (!retired_.empty())
            removeOrSetAside(staging_.get(), retired_);
    } catch (const std::exception& failure) {
        warn(failure);
    }
    if (databaseBytes_ != 0)
        keepReserve(folder_.descriptor(), databaseBytes_);
}

}  // namespace tavik
