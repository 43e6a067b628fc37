#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <future>
#include <memory>
#include <thread>

#include "platform/core/disk/StoreLock.h"
#include "platform/core/status/Status.h"
#include "tests/support/Machine.h"

namespace tavik::testing {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr int kStoreBusy = static_cast<int>(Status::storeBusy);

StoreFolder newStore(const TemporaryFolder& folder) {
    return StoreFolder::create({Scope::user, folder / "store", "QZ"});
}

/// The status of an attempt to take the lock; 0 for success.
int failureOf(const StoreFolder& store, milliseconds limit, std::string* text = nullptr) {
    try {
        const StoreLock lock(store, limit);
        return 0;
    } catch (const Error& error) {
        if (text != nullptr)
            *text = error.what();
        return error.status();
    }
}

/// How many descriptors of the process stand for the file.
std::size_t openCount(const std::string& path, const std::string& process = "self") {
    std::size_t count = 0;
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator("/proc/" + process + "/fd", gone)) {
        count += fs::read_symlink(entry.path(), gone) == path ? 1U : 0U;
    }
    return count;
}

TEST(StoreLock, BusyNamesWhoHoldsIt) {
    const TemporaryFolder folder;
    const StoreFolder store = newStore(folder);
    const StoreLock held(store);
    std::string text;
    EXPECT_EQ(failureOf(store, milliseconds(0), &text), kStoreBusy);
    EXPECT_NE(text.find("process " + std::to_string(::getpid()) + " (core_test)"),
              std::string::npos)
        << text;
}

// If the lock file is replaced while a process waits for it, two processes would change the store
// at once.
TEST(StoreLock, AReplacedLockFileLocksNothing) {
    const TemporaryFolder folder;
    const StoreFolder store = newStore(folder);
    const std::string path = store.path() + "/.lock";
    auto first = std::make_unique<StoreLock>(store);
    auto waiting =
        std::async(std::launch::async, [&] { return failureOf(store, milliseconds(500)); });
    while (openCount(path) < 2)
        std::this_thread::yield();
    fs::remove(path);
    const StoreLock second(store);
    first.reset();
    EXPECT_EQ(waiting.get(), kStoreBusy);
}

// The lock's file or the store's folder would take the number of a closed standard error, and with
// it the texts.
TEST(StoreLock, NoFileTakesThePlaceOfAClosedStandardDescriptor) {
    Machine machine;
    ASSERT_EQ(machine.install(machine.package("com.example.a", "1.0")).exitCode, 0);
    const StoreLock held(*StoreFolder::open({Scope::user, machine.path("user"), "QZ"}));
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{program("TavikCmd"), "--remove", "com.example.a"},
          std::vector<std::string>{program("tavik"), "remove", "com.example.a"}}) {
        std::vector<std::string> closed{"sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh"};
        closed.insert(closed.end(), command.begin(), command.end());
        const Process process(closed, machine.environment());
        const std::string pid = std::to_string(process.pid());
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (openCount(machine.user(".lock"), pid) == 0 && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
        std::error_code gone;
        for (const char* number : {"/fd/0", "/fd/1", "/fd/2"})
            EXPECT_EQ(fs::read_symlink("/proc/" + pid + number, gone), "/") << command[0] << number;
    }
}

TEST(StoreLock, OnlyItsOwnerCanOpenIt) {
    const TemporaryFolder folder;
    const StoreFolder store = newStore(folder);
    const std::string path = store.path() + "/.lock";
    writeFile(path, "");
    fs::permissions(path, fs::perms(0666));
    EXPECT_EQ(failureOf(store, milliseconds(0)), 0);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
    fs::remove(path);
    fs::create_symlink("elsewhere", path);
    EXPECT_EQ(failureOf(store, milliseconds(0)), static_cast<int>(Status::storeUnsafe));
}

/// Opens all that an ordinary user can open below the folder and takes each lock there is.
void lockEverything(const std::string& path) {
    for (const int flags : {O_RDONLY, O_RDWR, O_WRONLY})
        if (const int file = ::open(path.c_str(), flags | O_NONBLOCK | O_NOFOLLOW); file >= 0) {
            ::flock(file, LOCK_EX | LOCK_NB);
            struct flock whole {};
            whole.l_type = F_RDLCK;
            ::fcntl(file, F_SETLK, &whole);
            ::fcntl(file, F_SETLEASE, F_RDLCK);
        }
    std::error_code failure;
    for (const auto& entry : fs::directory_iterator(path, failure))
        if (!entry.is_symlink())
            lockEverything(entry.path());
}

/// A process of an ordinary user who holds all that he can of the folder, until this object ends.
class Holder {
  public:
    explicit Holder(const std::string& folder) {
        int ready[2];
        EXPECT_EQ(::pipe(ready), 0);
        process_ = ::fork();
        if (process_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0)
                ::_exit(1);
            lockEverything(folder);
            [[maybe_unused]] const auto told = ::write(ready[1], "x", 1);
            for (;;)
                ::pause();
        }
        ::close(ready[1]);
        char byte = 0;
        EXPECT_EQ(::read(ready[0], &byte, 1), 1) << "the holder has ended";
        ::close(ready[0]);
    }
    ~Holder() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

  private:
    pid_t process_ = -1;
};

// A lock on a file that everybody may read would stop each change for as long as it is held.
TEST(StoreLock, NoOrdinaryUserDelaysAChangeForAllUsers) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    Machine machine;
    fs::permissions(machine.path(""), fs::perms(0755));
    ASSERT_EQ(
        machine.tavik({"--install_for_all", machine.package("com.example.a", "1.0")}).exitCode, 0);
    const Holder holder(machine.shared());
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"--install_for_all", machine.package("com.example.a", "2.0")},
          {"--install_for_all", machine.package("com.example.b", "1.0")},
          {"--remove_for_all", "com.example.a"},
          {"--list", "all"}}) {
        const Result result = machine.tavik(command);
        EXPECT_EQ(result.exitCode, 0) << command[0] << ": " << result.err;
    }
}

}  // namespace
}  // namespace tavik::testing
