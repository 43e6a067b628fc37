// How a package is extracted into a new, empty folder:
//
// 1. Make all folders, parents first, so that workers only make files.
// 2. Divide the files into batches of neighbours in one folder, in the order of their bytes in the
//    package: a worker then reads forwards and keeps one folder open.
// 3. Workers take batches one after the other from a shared counter. A small package is extracted
//    by one worker, without threads.
// 4. A worker inflates a file piece by piece. It hands each piece to the content check and then
//    writes the same bytes, from memory: what was checked is what is installed, also if somebody
//    changes the package meanwhile. CRC and size are checked at the end of each file.
// 5. Files are opened relative to their folder's descriptor, without following links and only if
//    they do not exist: nobody can redirect a write to another place.
// 6. The first failure stops all workers after their current file. It is thrown when all of them
//    have ended.
//
// Nothing here is durable, and a failure leaves half a folder. The store extracts into a folder
// that no record names yet, synchronises it once in the end, and removes it after a failure or a
// crash.

#include "platform/core/package/Extraction.h"

#include <fcntl.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/core/package/EntryReader.h"
#include "platform/core/package/FolderTree.h"
#include "platform/core/status/Status.h"
#include "platform/support/DeferredTermination.h"
#include "platform/support/Text.h"

namespace tavik {
namespace {

// Below this, starting a thread costs more than it saves.
constexpr std::uint64_t kFewBytes = std::uint64_t{1} << 20;
// Each worker may hold 8 MiB.
constexpr std::size_t kMaxWorkers = 4;

// What one worker takes at a time: neighbours in one folder, as far as it goes.
constexpr std::size_t kBatchFiles = 32;
constexpr std::uint64_t kBatchBytes = std::uint64_t{1} << 20;

using Batch = std::vector<const ArchiveEntry*>;

std::string_view parentPath(const ArchiveEntry& entry) {
    const std::size_t slash = entry.path.rfind('/');
    return std::string_view(entry.path).substr(0, slash == std::string::npos ? 0 : slash);
}

/// The files by folder, and within it in the order of their bytes in the package.
std::vector<Batch> planBatches(const Archive& archive) {
    std::vector<const ArchiveEntry*> files;
    for (const ArchiveEntry& entry : archive.entries()) {
        if (!entry.isFolder())
            files.push_back(&entry);
    }
    std::stable_sort(files.begin(), files.end(),
                     [](const auto* a, const auto* b) { return parentPath(*a) < parentPath(*b); });
    std::vector<Batch> batches;
    std::uint64_t bytes = 0;
    for (const ArchiveEntry* file : files) {
        if (batches.empty() || batches.back().size() == kBatchFiles || bytes >= kBatchBytes ||
            parentPath(*batches.back().back()) != parentPath(*file)) {
            batches.emplace_back();
            bytes = 0;
        }
        batches.back().push_back(file);
        bytes += file->size;
    }
    return batches;
}

/// Passes on how far the workers have come, one call at a time.
class ProgressMeter {
  public:
    ProgressMeter(const Progress& progress, std::uint64_t total)
        : progress_(progress), total_(total) {}

    void add(std::uint64_t bytes) {
        if (!progress_)
            return;
        const std::lock_guard<std::mutex> lock(mutex_);
        done_ += bytes;
        if (done_ - told_ < kStep && done_ != total_)
            return;
        told_ = done_;
        progress_(done_, total_);
    }

  private:
    static constexpr std::uint64_t kStep = std::uint64_t{256} << 10;

    const Progress& progress_;
    const std::uint64_t total_;
    std::mutex mutex_;
    std::uint64_t done_ = 0;
    std::uint64_t told_ = 0;
};

/// Starts writing a large file to the disk while the rest of it inflates, so that the caller's sync
/// has less left to do. It is only a hint to the system: failures do not matter.
class EarlyWriteback {
  public:
    explicit EarlyWriteback(int file) : file_(file) {}

    void add(std::size_t written) {
        written_ += static_cast<off64_t>(written);
        if (written_ - started_ < kStep)
            return;
        ::sync_file_range(file_, started_, written_ - started_, SYNC_FILE_RANGE_WRITE);
        started_ = written_;
    }

  private:
    static constexpr off64_t kStep = off64_t{8} << 20;

    const int file_;
    off64_t written_ = 0;
    off64_t started_ = 0;
};

/// One extraction: the batches that workers take one after the other, and the first failure.
class Extraction {
  public:
    Extraction(const Package& package, int root, const Progress& progress,
               const ContentCheck* check)
        : package_(package),
          root_(root),
          check_(check),
          batches_(planBatches(package.archive())),
          meter_(progress, package.archive().totalBytes()) {}

    void run() {
        FolderTree tree(root_, package_.path());
        for (const std::string& folder : package_.archive().folders())
            tree.makeFolder(folder);
        std::vector<std::thread> helpers = startHelpers();
        work();
        for (std::thread& helper : helpers)
            helper.join();
        if (failure_)
            std::rethrow_exception(failure_);
    }

  private:
    std::vector<std::thread> startHelpers() {
        auto workers = std::min<std::size_t>(
            {kMaxWorkers, std::thread::hardware_concurrency(), batches_.size()});
        if (package_.archive().totalBytes() < kFewBytes)
            workers = 0;
        std::vector<std::thread> helpers;
        helpers.reserve(workers);
        try {
            while (helpers.size() + 1 < workers)
                helpers.emplace_back([this] { work(); });
        } catch (const std::system_error&) {
            // No more threads can be started: those that run do the work.
        }
        return helpers;
    }

    void work() noexcept {
        try {
            FolderTree tree(root_, package_.path());
            EntryReader reader(package_.file());
            for (std::size_t at = next_++; at < batches_.size() && !stop_; at = next_++) {
                for (const ArchiveEntry* file : batches_[at])
                    extract(*file, tree, reader);
            }
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (!stop_.exchange(true))
                failure_ = std::current_exception();
        }
    }

    void requireNotCancelled() const {
        if (DeferredTermination::isRequested())
            fail(Status::cancelled, package_.path());
    }

    void extract(const ArchiveEntry& entry, FolderTree& tree, EntryReader& reader) {
        requireNotCancelled();
        const FileDescriptor file = tree.makeFile(entry.path, entry.isExecutable() ? 0755 : 0644);
        EarlyWriteback writeback(file.get());
        const auto check = check_ == nullptr ? nullptr : check_->start(entry);
        reader.read(entry, [&](std::string_view bytes) {
            requireNotCancelled();
            // The bytes stand in the reader's memory: what is checked is what is written, whoever
            // changes the package meanwhile.
            if (check)
                check->take(bytes);
            if (!writeAll(file.get(), bytes))
                failErrno(errno, package_.path(), "cannot write " + quoteName(entry.path));
            writeback.add(bytes.size());
            meter_.add(bytes.size());
        });
        if (check)
            check->finish();
    }

    const Package& package_;
    const int root_;
    const ContentCheck* const check_;
    const std::vector<Batch> batches_;
    ProgressMeter meter_;
    std::atomic<std::size_t> next_{0};
    std::atomic<bool> stop_{false};
    std::mutex mutex_;
    std::exception_ptr failure_;
};

}  // namespace

void extractInto(const Package& package, int folderDescriptor, const Progress& progress,
                 const ContentCheck* check) {
    Extraction(package, folderDescriptor, progress, check).run();
}

}  // namespace tavik
