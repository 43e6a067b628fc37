#include "platform/core/disk/StoreLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>

#include "platform/core/status/Status.h"

namespace tavik {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstPause{1};
constexpr milliseconds kLongestPause{25};

}  // namespace

StoreLock::StoreLock(const StoreFolder& folder, milliseconds limit)
    : file_(
          ::openat(folder.descriptor(), ".lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    const std::string path = folder.path() + "/.lock";
    if (!file_ && errno == ELOOP)
        fail(Status::storeUnsafe, path, "it is a link");
    if (!file_)
        failErrno(errno, path, "open the lock");

    const auto deadline = std::chrono::steady_clock::now() + limit;
    milliseconds pause = kFirstPause;
    while (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            failErrno(errno, path, "take the lock");
        if (std::chrono::steady_clock::now() >= deadline)
            fail(Status::storeBusy, path,
                 "waited " + std::to_string(limit.count() / 1000) + " seconds");
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, kLongestPause);
    }
}

}  // namespace tavik
