// How a tree is removed:
//
// 1. A folder is opened without following links, and all names in it are deleted relative to its
//    descriptor, folders after the files beside them: nobody can redirect a deletion.
// 2. The topmost folder that holds several folders shares them out. Whoever removes is free takes
//    the next one. Helpers start when many files are gone and folders are left, since most trees
//    are deleted sooner than a thread is started. File systems delete in two folders at the same
//    time.
// 3. A failure stops nothing: what can be deleted is deleted. The first failure is kept.

#include "platform/core/disk/TreeRemoval.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/support/FileDescriptor.h"
#include "platform/support/QuietThread.h"

namespace tavik {
namespace {

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};
using FolderStream = std::unique_ptr<DIR, CloseFolder>;

// So many files take about as long as starting a thread takes.
constexpr std::size_t kManyFiles = 200;
constexpr std::size_t kMaxHelpers = 3;

/// One removal, or a helper's share of it, and its first failure. A file that stays makes the
/// folders above it fail too, but those errors only say "not empty".
class Removal {
  public:
    enum class Share { whole, part };

    explicit Removal(Share share) noexcept : share_(share) {}

    bool removeEntry(int parent, const char* name, unsigned char type) noexcept {
        if (type == DT_DIR)
            return removeFolder(parent, name);
        ++files_;
        if (::unlinkat(parent, name, 0) == 0 || errno == ENOENT)
            return true;
        return errno == EISDIR ? removeFolder(parent, name) : failed();
    }

    int cause() const noexcept { return cause_; }

  private:
    bool removeFolder(int parent, const char* name) noexcept {
        removeContent(parent, name);
        return ::unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT || failed();
    }

    void removeContent(int parent, const char* name) noexcept {
        FileDescriptor descriptor(
            ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        const FolderStream stream(descriptor ? ::fdopendir(descriptor.get()) : nullptr);
        if (!stream) {
            failed();
            return;
        }
        const int folder = descriptor.release();
        std::vector<std::string> folders;
        while (const dirent* entry = ::readdir(stream.get())) {
            const std::string_view entryName = entry->d_name;
            if (entryName == "." || entryName == "..")
                continue;
            if (entry->d_type != DT_DIR || !keep(folders, entryName))
                removeEntry(folder, entry->d_name, entry->d_type);
        }
        if (!folders.empty())
            removeFolders(folder, folders);
    }

    /// False where there is no memory for the name, or nobody to share it with.
    bool keep(std::vector<std::string>& folders, std::string_view name) const noexcept {
        if (share_ == Share::part)
            return false;
        try {
            folders.emplace_back(name);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }

    void removeFolders(int parent, const std::vector<std::string>& names) noexcept {
        // A single folder has everything below it, so its folders are shared out instead.
        if (names.size() > 1)
            share_ = Share::part;
        std::atomic<std::size_t> next{0};
        std::array<std::thread, kMaxHelpers> helpers;
        std::array<Removal, kMaxHelpers> shares{Removal(Share::part), Removal(Share::part),
                                                Removal(Share::part)};
        const auto take = [&](Removal& removal) {
            const std::size_t at = next++;
            if (at < names.size())
                removal.removeFolder(parent, names[at].c_str());
            return at < names.size();
        };
        bool isHelped = false;
        while (take(*this)) {
            if (isHelped || files_ < kManyFiles || names.size() < 2)
                continue;
            isHelped = true;
            startHelpers(helpers, [&](std::size_t i) {
                while (take(shares[i])) {
                }
            });
        }
        for (std::size_t i = 0; i < kMaxHelpers; ++i) {
            if (helpers[i].joinable())
                helpers[i].join();
            if (cause_ == 0)
                cause_ = shares[i].cause_;
        }
    }

    /// As many as there are processors for. Without any, this thread does all of it.
    template <class Work>
    static void startHelpers(std::array<std::thread, kMaxHelpers>& helpers, Work work) noexcept {
        try {
            for (std::size_t i = 0; i < kMaxHelpers && i + 1 < std::thread::hardware_concurrency();
                 ++i)
                helpers[i] = startQuietThread([work, i] { work(i); });
        } catch (const std::exception&) {
            // No more threads can be started.
        }
    }

    bool failed() noexcept {
        if (cause_ == 0)
            cause_ = errno;
        return false;
    }

    Share share_;
    std::size_t files_ = 0;
    int cause_ = 0;
};

}  // namespace

bool removeTree(int folder, const std::string& name) noexcept {
    Removal removal(Removal::Share::whole);
    const bool isGone = removal.removeEntry(folder, name.c_str(), DT_UNKNOWN);
    errno = removal.cause();
    return isGone;
}

}  // namespace tavik
