#include "platform/core/store/StoreChange.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <unordered_set>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/Reserve.h"
#include "platform/core/disk/TreeRemoval.h"
#include "platform/core/status/Status.h"

namespace tavik {
namespace {

constexpr const char* kMark = "unfinished";
// Room for "@", the token and a file system's 255 bytes.
constexpr std::size_t kMaxIdBytesInName = 200;

}  // namespace

std::string newFolderName(const std::string& id) {
    std::array<unsigned char, 8> random{};
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        failErrno(errno, id, "get random bytes");
    std::string name = id.substr(0, kMaxIdBytesInName) + "@";
    for (const unsigned byte : random) {
        constexpr const char* kDigits = "0123456789abcdef";
        name += kDigits[byte >> 4U];
        name += kDigits[byte & 15U];
    }
    return name;
}

StoreChange::StoreChange(const StoreFolder& folder)
    : folder_(folder),
      lock_(folder),
      staging_(folder.subfolder("staging")),
      content_(folder.subfolder("ext")),
      table_(ExtensionTable::openForWriting(folder, lock_)) {}

bool StoreChange::wasInterrupted() const {
    return !namesIn(staging_.get()).empty();
}

void StoreChange::sweep() {
    std::unordered_set<std::string> named;
    for (auto& folder : table().readFolders())
        named.insert(std::move(folder));
    for (const auto& name : namesIn(content_.get()))
        if (named.count(name) == 0)
            removeTree(content_.get(), name);
    removeMark();
}

void StoreChange::emptyStaging() {
    for (const auto& name : namesIn(staging_.get()))
        if (name != kMark)
            removeTree(staging_.get(), name);
}

void StoreChange::mark() {
    makeMark();
    if (::fsync(staging_.get()) != 0)
        failErrno(errno, folder_.path() + "/staging", "synchronise the folder");
}

void StoreChange::makeMark() {
    const FileDescriptor file(
        ::openat(staging_.get(), kMark, O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file)
        failErrno(errno, folder_.path() + "/staging", "mark the change");
}

void StoreChange::removeMark() noexcept {
    if (!keepsMark_)
        ::unlinkat(staging_.get(), kMark, 0);
}

void StoreChange::publish(const Package& package, const std::string& folder,
                          const Progress& progress, const ContentCheck* check) {
    const std::string path = folder_.path() + "/staging/" + folder;
    try {
        makeMark();
        if (::mkdirat(staging_.get(), folder.c_str(), 0755) != 0)
            failErrno(errno, path, "make the folder");
        const FileDescriptor staged(::openat(staging_.get(), folder.c_str(),
                                             O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!staged || ::fchmod(staged.get(), 0755) != 0)
            failErrno(errno, path, "set the folder's rights");
        extractInto(package, staged.get(), progress, check);
        // The name has never been used: a plain rename would replace nothing either.
        if (::renameat(staging_.get(), folder.c_str(), content_.get(), folder.c_str()) != 0)
            failErrno(errno, path, "name the folder");
        makeDurable();
    } catch (...) {
        discard(folder);
        throw;
    }
}

void StoreChange::makeDurable() {
    // One call for the files, the folders, their names and the mark; a failure is final, since the
    // system reports a lost write only once.
    if (::syncfs(content_.get()) != 0)
        failErrno(errno, folder_.path(), "synchronise the files");
}

void StoreChange::commit(const std::function<void(ExtensionTable&)>& work,
                         const std::function<bool(ExtensionTable&)>& isDone,
                         const std::function<void()>& undo) {
    try {
        work(table());
        return;
    } catch (const Error&) {
        // Without an answer of the database nothing is undone: the next change will know.
        keepMark();
        table_.reset();
        table_ = ExtensionTable::openForWriting(folder_, lock_);
        table().settle();
        if (isDone(table()))
            return;
        undo();
        throw;
    }
}

void StoreChange::discard(const std::string& folder) noexcept {
    const bool gone = removeTree(staging_.get(), folder) && removeTree(content_.get(), folder);
    if (gone)
        removeMark();
}

void StoreChange::retire(const std::string& folder) noexcept {
    if (::renameat(content_.get(), folder.c_str(), staging_.get(), folder.c_str()) == 0)
        retired_.push_back(folder);
    else if (errno != ENOENT)
        keepMark();
}

void StoreChange::finish() noexcept {
    removeMark();
    lock_.release();
    for (const auto& folder : retired_)
        removeTree(staging_.get(), folder);
    retired_.clear();
    keepReserve(folder_.descriptor());
}

}  // namespace tavik
