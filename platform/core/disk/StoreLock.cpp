// The lock is an flock on the file `.lock`, which the kernel gives up when its holder ends: a crash
// leaves no lock behind.
//
// 1. Open the file, or make it. A link, a special file and a file of another user are refused.
// 2. Try to take the lock without waiting. Where another process has it, try again after pauses
//    from 1 to 25 ms, until the time is up.
// 3. Compare the locked file with the file that has the name now. Somebody may have deleted or
//    replaced it between steps 1 and 2. A process that opened the new file could then hold a lock
//    as well, on that one. So this process begins again with the new file.
// 4. Write the process number into the file, for the error of a process that waits in vain.

#include "platform/core/disk/StoreLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <string>
#include <system_error>
#include <thread>

#include "platform/core/disk/RegularFile.h"
#include "platform/core/status/Status.h"
#include "platform/support/Ownership.h"

namespace tavik {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr const char* kName = ".lock";
constexpr mode_t kMode = 0600;
constexpr milliseconds kFirstPause{1};
constexpr milliseconds kLongestPause{25};
// A process number padded with blanks, so that each note overwrites the one before.
constexpr std::size_t kNoteBytes = 16;

FileDescriptor openLock(const StoreFolder& folder, const std::string& path) {
    RegularFile lock = openOrMakeRegularFile(folder.descriptor(), kName, kMode);
    if (!lock.refusal.empty())
        fail(Status::storeUnsafe, path, lock.refusal);
    if (!lock)
        failErrno(lock.error, path, "open the lock");
    if (!isOurs(lock.info))
        fail(Status::storeUnsafe, path, kBelongsToAnother);
    // Whoever can open the file can hold the lock, so rights that were added by hand are removed.
    if ((lock.info.st_mode & 07777) != kMode && ::fchmod(lock.descriptor.get(), kMode) != 0)
        failErrno(errno, path, "set the lock's rights");
    return std::move(lock.descriptor);
}

/// Whether the name still stands for this file.
bool isCurrent(const FileDescriptor& file, const StoreFolder& folder, const std::string& path) {
    struct stat ours {};
    struct stat named {};
    if (::fstat(file.get(), &ours) != 0)
        failErrno(errno, path, "look at the lock");
    if (::fstatat(folder.descriptor(), kName, &named, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT)
            return false;
        failErrno(errno, path, "look at the lock");
    }
    return ours.st_dev == named.st_dev && ours.st_ino == named.st_ino;
}

/// "process 123 (TavikCmd) holds it", as far as it is known.
std::string holderOf(const FileDescriptor& file) {
    std::array<char, kNoteBytes + 1> note{};
    int process = 0;
    if (::pread(file.get(), note.data(), kNoteBytes, 0) <= 0 ||
        std::from_chars(note.data(), note.data() + kNoteBytes, process).ec != std::errc())
        return "another process holds it";
    std::string text = "process " + std::to_string(process);
    const std::string path = "/proc/" + std::to_string(process) + "/comm";
    const FileDescriptor command(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 64> name{};
    if (command && ::read(command.get(), name.data(), name.size() - 1) > 0)
        text +=
            " (" + std::string(name.data()).substr(0, std::string(name.data()).find('\n')) + ")";
    return text + " holds it";
}

/// The note is only for people: a change goes on if it cannot be written.
void noteHolder(const FileDescriptor& file) noexcept {
    std::array<char, kNoteBytes> note{};
    note.fill(' ');
    note.back() = '\n';
    std::to_chars(note.data(), note.data() + note.size() - 1, static_cast<int>(::getpid()));
    [[maybe_unused]] const auto written = ::pwrite(file.get(), note.data(), note.size(), 0);
}

}  // namespace

StoreLock::StoreLock(const StoreFolder& folder, milliseconds limit) {
    const std::string path = folder.path() + "/" + kName;
    const auto deadline = Clock::now() + limit;
    milliseconds pause = kFirstPause;
    file_ = openLock(folder, path);
    for (;;) {
        if (::flock(file_.get(), LOCK_EX | LOCK_NB) == 0) {
            if (isCurrent(file_, folder, path))
                break;
            file_ = openLock(folder, path);
            continue;
        }
        if (errno != EWOULDBLOCK && errno != EINTR)
            failErrno(errno, path, "take the lock");
        if (Clock::now() >= deadline)
            fail(Status::storeBusy, path,
                 holderOf(file_) + "; waited " + std::to_string(limit.count() / 1000) + " seconds");
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, kLongestPause);
    }
    noteHolder(file_);
}

}  // namespace tavik
