// A product's descriptor names the folder for its links, and root puts links there too. A user who
// owns a folder on the way could lead root anywhere: by a planted link, or by an exchange of one
// folder for another between a check and its use. So nothing is done by path:
//
// 1. The walk opens one component at a time, relative to the folder that is open already, and never
//    lets the system follow a link.
// 2. It looks at what it has opened, so there is no moment between a check and its use. Each folder
//    must belong to root or the current user. Its group and others may not write to it.
// 3. A folder such as /tmp, where everybody may write but only the owner may rename or delete
//    (sticky bit), is passed through: what comes next belongs to root or the current user, so
//    nobody else can exchange it. The walk ends in one only for a caller who looks at what comes
//    next.
// 4. Users have links to folders, for example from /home to /data/home. A link is followed where it
//    belongs to root or the current user and stands in a folder that only they may write to. Then
//    the walk goes on with the link's own text, by the same rules. A link in /tmp is refused:
//    others can make a hard link to a link of root's there.
// 5. A missing folder is made in the open folder. Its rights are set on the descriptor of what was
//    made, never by path. What a link names is never made: a link to nowhere is refused.

#include "platform/core/disk/TrustedPath.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <vector>

#include "platform/core/disk/Folders.h"
#include "platform/core/status/Status.h"
#include "platform/support/Ownership.h"

namespace tavik {
namespace {

constexpr mode_t kFolderMode = 0755;
constexpr int kMaxLinks = 40;  // as many as the system itself follows

/// Where a walk may end: in a folder that only root and the current user write to, or also in one
/// with a sticky bit.
enum class End { isOurs, maybeSticky };

class Walk {
  public:
    Walk(FileDescriptor start, std::string startPath, const std::string& relativePath)
        : target_(startPath + "/" + relativePath),
          folder_(std::move(start)),
          path_(std::move(startPath)) {
        goAlong(relativePath);
    }

    /// False where a component is missing.
    bool run(Missing missing, End end) {
        enter();
        while (!ahead_.empty()) {
            const std::string name = std::move(ahead_.back());
            ahead_.pop_back();
            if (!step(name, missing))
                return false;
        }
        if (isSticky_ && end == End::isOurs)
            refuse(path_, "everybody may write to it");
        return true;
    }

    FileDescriptor openForReading() const {
        FileDescriptor folder(
            ::openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder)
            failErrno(errno, path_, "open the folder");
        return folder;
    }

  private:
    bool step(const std::string& name, Missing missing) {
        FileDescriptor next(::openat(folder_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        // The path has no links in it, so its text tells the folder above.
        const std::string path = name == ".."
                                     ? path_.substr(0, std::min(path_.rfind('/'), path_.size()))
                                     : path_ + "/" + name;
        if (!next && errno == ENOENT) {
            if (missing == Missing::isReported)
                return false;
            if (ahead_.size() >= afterLink_)
                refuse(link_, "it is a link to " + path + ", which does not exist");
            next = makeFolderIn(folder_.get(), name, path, kFolderMode);
        }
        if (!next)
            failErrno(errno, path, "open the folder");
        struct stat info {};
        if (::fstat(next.get(), &info) != 0)
            failErrno(errno, path, "look at it");
        if (S_ISLNK(info.st_mode)) {
            follow(next, info, path);
            return true;
        }
        folder_ = std::move(next);
        path_ = path;
        enter();
        return true;
    }

    /// Looks at the folder that the walk stands in.
    void enter() {
        struct stat info {};
        if (::fstat(folder_.get(), &info) != 0)
            failErrno(errno, path_, "look at it");
        if (!S_ISDIR(info.st_mode))
            refuse(path_, "it is not a folder");
        requireTrustedOwner(info, path_);
        isSticky_ = isSticky(info);
        if (othersMayWrite(info) && !isSticky_)
            refuse(path_, kOthersMayWrite);
    }

    void follow(const FileDescriptor& link, const struct stat& info, const std::string& path) {
        requireTrustedOwner(info, path);
        if (isSticky_)
            refuse(path, "it is a link in a folder that everybody may write to");
        if (++links_ > kMaxLinks)
            refuse(path, "its links lead in a circle");
        std::array<char, PATH_MAX> text{};
        const ssize_t size = ::readlinkat(link.get(), "", text.data(), text.size());
        if (size < 0)
            failErrno(errno, path, "read the link");
        const std::string target(text.data(), static_cast<std::size_t>(size));
        // A link on another link's way is part of it.
        if (ahead_.size() < afterLink_) {
            afterLink_ = ahead_.size();
            link_ = path;
        }
        if (target.front() == '/') {
            folder_ = FileDescriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
            path_.clear();
            enter();
        }
        goAlong(target);
    }

    /// Adds the path's components before those that are still to be walked. The list is kept in
    /// reverse: the next one is last.
    void goAlong(const std::string& path) {
        std::vector<std::string> names;
        for (std::size_t at = 0; at < path.size();) {
            const std::size_t end = std::min(path.find('/', at), path.size());
            const std::string name = path.substr(at, end - at);
            if (!name.empty() && name != ".")
                names.push_back(name);
            at = end + 1;
        }
        ahead_.insert(ahead_.end(), names.rbegin(), names.rend());
    }

    void requireTrustedOwner(const struct stat& info, const std::string& path) const {
        if (!isOurs(info))
            refuse(path, kBelongsToAnother);
    }

    [[noreturn]] void refuse(const std::string& path, const std::string& cause) const {
        fail(Status::storeUnsafe, path.empty() ? "/" : path,
             path == target_ ? cause : cause + ", and it is on the way to " + target_);
    }

    std::string target_;  ///< the path that was asked for
    FileDescriptor folder_;
    std::string path_;  ///< of `folder_`; empty for "/"
    std::vector<std::string> ahead_;
    bool isSticky_ = false;  ///< others may make entries in `folder_`, but not touch ours
    int links_ = 0;
    std::string link_;  ///< the link that was followed last
    /// How many components remain when the link's own text has been walked.
    std::size_t afterLink_ = std::numeric_limits<std::size_t>::max();
};

FileDescriptor walk(FileDescriptor start, const std::string& startPath,
                    const std::string& relativePath, Missing missing, End end) {
    if (!start)
        failErrno(errno, startPath, "open the folder");
    Walk walk(std::move(start), startPath, relativePath);
    return walk.run(missing, end) ? walk.openForReading() : FileDescriptor();
}

FileDescriptor walkFromRoot(const std::string& path, Missing missing, End end) {
    return walk(FileDescriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)), "",
                path.substr(std::min(path.find_first_not_of('/'), path.size())), missing, end);
}

}  // namespace

FileDescriptor openTrustedFolder(const std::string& path, Missing missing) {
    return walkFromRoot(path, missing, End::isOurs);
}

FileDescriptor openTrustedWay(const std::string& path, Missing missing) {
    return walkFromRoot(path, missing, End::maybeSticky);
}

FileDescriptor openTrustedFolder(int start, const std::string& startPath,
                                 const std::string& relativePath, Missing missing) {
    return walk(FileDescriptor(::openat(start, ".", O_PATH | O_DIRECTORY | O_CLOEXEC)), startPath,
                relativePath, missing, End::isOurs);
}

}  // namespace tavik
