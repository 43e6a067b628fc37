// How a package that a feed offers is downloaded:
//
// 1. Make a file without a name: a crash leaves nothing behind, and no path leads to it. A file
//    system that has no such files gets one whose name is deleted at once.
// 2. Try the mirrors in their order, within one limit of time for all of them. Each begins with an
//    empty file.
// 3. Write and hash the bytes as they arrive. The transfer ends when the feed's size is exceeded.
//    If a write fails, the download ends, because another mirror would not help.
// 4. Compare size and digest with the feed's. If they differ, the next mirror is tried. The error
//    names what was wrong with each.
//
// A file that no feed describes has one address and a largest size. The caller gets its digest.

#include "platform/core/updates/Download.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/core/status/Status.h"
#include "platform/support/DeferredTermination.h"

namespace tavik {
namespace {

using Outcome = FetchResult::Outcome;

/// Not every file system knows files without a name.
FileDescriptor makeNamelessFile(int folder) {
    FileDescriptor file(::openat(folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL))
        return file;
    const std::string name = "download." + std::to_string(::getpid());
    file = FileDescriptor(
        ::openat(folder, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (file)
        ::unlinkat(folder, name.c_str(), 0);
    return file;
}

/// What arrives from one mirror: written and hashed on the way.
class Arrival {
  public:
    Arrival(int file, std::uint64_t total, const DownloadProgress& progress)
        : file_(file),
          total_(total),
          progress_(progress),
          digest_(loadOnline().crypto().sha256()) {}

    bool take(std::string_view bytes) noexcept {
        digest_->update(bytes);
        // A file that must not stay is removed before the signal ends the process.
        if (DeferredTermination::isRequested()) {
            writeError_ = EINTR;
            return false;
        }
        if (!writeAll(file_, bytes)) {
            writeError_ = errno;
            return false;
        }
        done_ += bytes.size();
        if (progress_)
            progress_(done_, total_);
        return true;
    }

    int writeError() const noexcept { return writeError_; }
    std::uint64_t bytes() const noexcept { return done_; }
    std::string sha256() { return digest_->finish(); }

  private:
    int file_;
    std::uint64_t total_;
    const DownloadProgress& progress_;
    std::unique_ptr<Digest> digest_;
    std::uint64_t done_ = 0;
    int writeError_ = 0;
};

/// Why a mirror's file cannot be used; success where it is the one that the feed describes.
struct Verdict {
    Status status = Status::success;
    std::string detail;
};

/// Of an outcome without a file.
Status statusOf(Outcome outcome) noexcept {
    return outcome == Outcome::untrusted ? Status::certificateRefused : Status::downloadFailed;
}

Verdict judge(const FetchResult& result, const FeedItem& item, Arrival& arrival) {
    if (result.outcome == Outcome::tooLarge)
        return {Status::downloadDiffers, result.failure + ", the size that the feed names"};
    if (result.outcome != Outcome::fetched)
        return {statusOf(result.outcome), result.failure};
    if (arrival.bytes() != item.size)
        return {Status::downloadDiffers, "has " + std::to_string(arrival.bytes()) +
                                             " bytes, the feed says " + std::to_string(item.size)};
    if (const std::string digest = arrival.sha256(); digest != item.sha256)
        return {Status::downloadDiffers,
                "has the SHA-256 " + digest + ", the feed says " + item.sha256};
    return {};
}

/// Long enough for a slow line, too short for a server that sends a byte now and then.
std::chrono::milliseconds timeFor(std::uint64_t bytes, const FetchBounds& bounds) {
    constexpr std::uint64_t kBytesPerSecond = std::uint64_t{64} << 10;
    constexpr std::uint64_t kMostSeconds = std::uint64_t{7} * 24 * 60 * 60;
    return bounds.package + std::chrono::seconds(std::min(bytes / kBytesPerSecond, kMostSeconds));
}

void restart(int file, const std::string& name) {
    if (::ftruncate(file, 0) != 0 || ::lseek(file, 0, SEEK_SET) != 0)
        failErrno(errno, name, "write the download");
}

}  // namespace

void downloadInto(int file, const Offer& offer, const DownloadProgress& progress,
                  const FetchBounds& bounds) {
    const FeedItem& item = offer.item;
    const auto fetcher = loadOnline().newFetcher(bounds);
    Verdict verdict{Status::downloadFailed, {}};
    std::string causes;
    if (item.mirrors.empty())
        causes = "no redirect of the administrator's policy.json fits its addresses";
    // One limit for all mirrors together: a slow one leaves less time for the next.
    const auto end = std::chrono::steady_clock::now() + timeFor(item.size, bounds);
    for (const auto& mirror : item.mirrors) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        restart(file, offer.name);
        Arrival arrival(file, item.size, progress);
        const FetchResult result = fetcher->download(
            mirror, item.size, left, [&](std::string_view bytes) { return arrival.take(bytes); });
        if (arrival.writeError() != 0)
            failErrno(arrival.writeError(), offer.name, "write the download");
        verdict = judge(result, item, arrival);
        if (verdict.status == Status::success) {
            if (::lseek(file, 0, SEEK_SET) != 0)
                failErrno(errno, offer.name, "read the download");
            return;
        }
        causes += (causes.empty() ? "" : "; ") + mirror.text() + " " + verdict.detail;
    }
    fail(verdict.status, offer.name, causes);
}

FileDescriptor downloadUpdate(const Offer& offer, int folderDescriptor,
                              const DownloadProgress& progress, const FetchBounds& bounds) {
    FileDescriptor file = makeNamelessFile(folderDescriptor);
    if (!file)
        failErrno(errno, offer.name, "make a file for the download");
    downloadInto(file.get(), offer, progress, bounds);
    return file;
}

DownloadedFile downloadFile(const Address& address, std::uint64_t limit, int folderDescriptor,
                            const DownloadProgress& progress, const FetchBounds& bounds) {
    const std::string name = address.text();
    FileDescriptor file = makeNamelessFile(folderDescriptor);
    if (!file)
        failErrno(errno, name, "make a file for the download");
    const auto fetcher = loadOnline().newFetcher(bounds);
    Arrival arrival(file.get(), 0, progress);
    const FetchResult result =
        fetcher->download(address, limit, timeFor(limit, bounds),
                          [&](std::string_view bytes) { return arrival.take(bytes); });
    if (arrival.writeError() != 0)
        failErrno(arrival.writeError(), name, "write the download");
    if (result.outcome == Outcome::tooLarge)
        fail(Status::packageTooLarge, name, result.failure);
    if (result.outcome != Outcome::fetched)
        fail(statusOf(result.outcome), name, result.failure);
    if (::lseek(file.get(), 0, SEEK_SET) != 0)
        failErrno(errno, name, "read the download");
    return {std::move(file), arrival.sha256()};
}

void requireOffered(const Offer& offer, std::string_view idKey, const Version& version) {
    if (idKey != offer.item.idKey || version != offer.item.version)
        fail(Status::wrongExtension, offer.name,
             "the package is " + std::string(idKey) + " " + version.text() + ", the feed says " +
                 offer.item.id + " " + offer.item.version.text());
}

}  // namespace tavik
