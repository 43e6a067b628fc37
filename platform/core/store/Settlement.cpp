// A change compares the rows with ext/, with the links and with the masks. That takes time for each
// installed extension, and hardly ever finds anything. A change that leaves all in order therefore
// notes how it leaves the folders, and where they are still like that, the next one compares
// nothing:
//
// 1. isInOrder() trusts the note where it names the seals of this database and of the other
//    store's, and where each folder has the inode and the times that it names. Whoever makes or
//    deletes a name in a folder changes its times.
// 2. A file system takes times from a clock that stands still for up to 10 ms. Two changes of a
//    folder within that time may leave the same one. So the time that is noted is never the file
//    system's own: stamp() sets the modification time from the exact clock, and the next change by
//    anybody replaces it with another. A file system that does not keep nanoseconds gets no note.
// 3. Without a note to trust, beginComparison() stamps all folders before they are compared. What
//    somebody does meanwhile replaces the stamp, and is seen in step 5.
// 4. Whatever a change does in a folder itself is enclosed in a Step. It looks whether the folder
//    is still as expected, and stamps it at its end.
// 5. write() looks at all folders once more. Where one is not as expected, it writes no note.
// 6. The note is no part of the commit and is not synchronised. If it is lost, torn or older than
//    what a power cut has left, it does not fit, and the next change compares.
// 7. A note is trusted for an hour. If somebody works in a folder in the same microseconds as a
//    Step, the comparison after that finds it.

#include "platform/core/store/Settlement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <sstream>

#include "platform/core/disk/Folders.h"
#include "platform/core/disk/RegularFile.h"
#include "platform/core/disk/SafeFolder.h"
#include "platform/core/store/StoreImage.h"

namespace tavik {
namespace {

constexpr const char* kName = ".settled";
constexpr const char* kFirstLine = "tavik-settled 1";
constexpr const char* kNone = "-";  // in the place of a seal
constexpr std::size_t kMaxBytes = std::size_t{1} << 20;
constexpr std::time_t kTrustedSeconds = 3600;

bool isSameTime(const timespec& a, const timespec& b) noexcept {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

std::ostream& operator<<(std::ostream& out, const timespec& time) {
    return out << time.tv_sec << ' ' << time.tv_nsec;
}

std::istream& operator>>(std::istream& in, timespec& time) {
    return in >> time.tv_sec >> time.tv_nsec;
}

}  // namespace

struct Settlement::Note {
    std::string seal;
    std::string othersSeal;
    std::time_t comparedAt = 0;
    States states;
};

Settlement::Settlement(const StoreFolder& store, const std::optional<StoreLocation>& other)
    : store_(store), other_(other) {}

bool Settlement::isSame(const State& a, const State& b) noexcept {
    return a.inode == b.inode && isSameTime(a.modified, b.modified) &&
           isSameTime(a.changed, b.changed);
}

bool Settlement::isInOrder(const std::string& seal) noexcept {
    isKnown_ = false;
    try {
        othersSeal_ = othersSeal();
        const auto note = readNote();
        const std::time_t now = std::time(nullptr);
        if (!note || note->seal != seal || note->othersSeal != othersSeal_ ||
            note->comparedAt > now || now - note->comparedAt > kTrustedSeconds)
            return false;
        comparedAt_ = note->comparedAt;
        expected_ = note->states;
        const States present = look();
        isKnown_ = present.size() == expected_.size() &&
                   std::equal(present.begin(), present.end(), expected_.begin(),
                              [](const auto& a, const auto& b) {
                                  return a.first == b.first && isSame(a.second, b.second);
                              });
    } catch (const std::exception&) {
        isKnown_ = false;
    }
    return isKnown_;
}

void Settlement::beginComparison() noexcept {
    isKnown_ = false;
    try {
        othersSeal_ = othersSeal();
        comparedAt_ = std::time(nullptr);
        expected_ = look();
        for (auto& [folder, state] : expected_) {
            if (state.inode == 0)
                continue;
            const auto stamped = stamp(folder);
            if (!stamped)
                return;
            state = *stamped;
        }
        isKnown_ = true;
    } catch (const std::exception&) {
        isKnown_ = false;
    }
}

void Settlement::forget() noexcept {
    isKnown_ = false;
    ::unlinkat(store_.descriptor(), kName, 0);
}

void Settlement::write(const std::string& seal) noexcept {
    if (!isKnown_ || seal.empty())
        return;
    try {
        const States present = look();
        for (const auto& [folder, state] : present) {
            const auto expected = expected_.find(folder);
            if (expected == expected_.end() || !isSame(expected->second, state))
                return;
        }
        const std::string text = textOf(present, seal);
        const RegularFile file = openOrMakeRegularFile(store_.descriptor(), kName, 0600);
        if (file && ::ftruncate(file.descriptor.get(), 0) == 0)
            writeAll(file.descriptor.get(), text);
    } catch (const std::exception&) {
        // The note of an earlier change does not fit the database any more.
    }
}

/// The folders in which a comparison looks, as they are now.
Settlement::States Settlement::look() const {
    States states;
    const auto add = [&](const std::string& folder) { return states[folder] = stateOf(folder); };
    add("ext");
    if (add("products").inode == 0)
        return states;
    const FileDescriptor products = store_.existingSubfolder("products");
    for (const auto& name : namesIn(products.get())) {
        const std::string product = "products/" + name;
        add(product);
        add(product + "/extensions");
        add(product + "/disabled");
    }
    return states;
}

Settlement::State Settlement::stateOf(const std::string& folder) const {
    struct stat info {};
    const bool isThere =
        ::fstatat(store_.descriptor(), folder.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
    if (isThere && S_ISDIR(info.st_mode))
        return {info.st_ino, info.st_mtim, info.st_ctim};
    // A link's times say nothing of the folder that it leads to.
    if (isThere || errno != ENOENT)
        failErrno(isThere ? ENOTDIR : errno, store_.path() + "/" + folder, "look at the folder");
    return {};
}

/// Nothing where the folder cannot be given the present time.
std::optional<Settlement::State> Settlement::stamp(const std::string& folder) const noexcept {
    timespec times[2] = {{0, UTIME_OMIT}, {}};
    struct stat info {};
    if (::clock_gettime(CLOCK_REALTIME, &times[1]) != 0 ||
        ::utimensat(store_.descriptor(), folder.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0 ||
        ::fstatat(store_.descriptor(), folder.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0 ||
        !isSameTime(info.st_mtim, times[1]))
        return std::nullopt;
    return State{info.st_ino, info.st_mtim, info.st_ctim};
}

std::string Settlement::othersSeal() const {
    const auto store = other_ ? StoreFolder::open(*other_) : std::nullopt;
    const std::string seal = store ? readSeal(*store) : std::string();
    return seal.empty() ? kNone : seal;
}

std::string Settlement::textOf(const States& states, const std::string& seal) const {
    std::ostringstream text;
    text << kFirstLine << '\n' << seal << ' ' << othersSeal_ << ' ' << comparedAt_ << '\n';
    for (const auto& [folder, state] : states)
        text << state.inode << ' ' << state.modified << ' ' << state.changed << ' ' << folder
             << '\n';
    text << "end " << states.size() << '\n';
    return text.str();
}

std::optional<Settlement::Note> Settlement::readNote() const {
    const auto bytes = readSafeFile(store_.descriptor(), kName, kMaxBytes,
                                    {store_.path() + "/" + kName, Status::storeUnsafe});
    std::istringstream text(bytes.value_or(""));
    std::string line;
    Note note;
    if (!std::getline(text, line) || line != kFirstLine ||
        !(text >> note.seal >> note.othersSeal >> note.comparedAt))
        return std::nullopt;
    State state;
    while (text >> state.inode >> state.modified >> state.changed && text.get() == ' ' &&
           std::getline(text, line))
        note.states[line] = state;
    text.clear();
    std::size_t count = 0;
    if (!(text >> line >> count) || line != "end" || count != note.states.size())
        return std::nullopt;
    return note;
}

/// The folder's name in the note; empty for one that is not below the store.
std::string Settlement::watchedName(const std::string& path) const {
    const std::string above = store_.path() + "/";
    if (path.compare(0, above.size(), above) == 0)
        return path.substr(above.size());
    return path.front() == '/' ? std::string() : path;
}

Settlement::Step::Step(Settlement& settlement, const std::string& path) noexcept
    : settlement_(settlement) {
    if (!settlement.isKnown_)
        return;
    try {
        folder_ = settlement.watchedName(path);
        const auto expected = settlement.expected_.find(folder_);
        if (!folder_.empty() && (expected == settlement.expected_.end() ||
                                 !isSame(expected->second, settlement.stateOf(folder_))))
            settlement.distrust();
    } catch (const std::exception&) {
        settlement.distrust();
    }
}

Settlement::Step::~Step() {
    if (folder_.empty() || !settlement_.isKnown_)
        return;
    const auto stamped = settlement_.stamp(folder_);
    const auto expected = settlement_.expected_.find(folder_);
    if (stamped && expected != settlement_.expected_.end())
        expected->second = *stamped;
    else
        settlement_.distrust();
}

}  // namespace tavik
