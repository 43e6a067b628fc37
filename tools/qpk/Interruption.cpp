#include "tools/qpk/Interruption.h"

#include <string.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>

namespace tavik::qpk {
namespace {

constexpr int kSignals[] = {SIGHUP, SIGINT, SIGTERM};
constexpr int kNoSlot = -1;

// Read by the handler, which may come between any two instructions: copies of the paths that are
// whole before they are put here.
std::array<std::atomic<char*>, 8> halfFiles{};
static_assert(std::atomic<char*>::is_always_lock_free);

/// Calls nothing but what a signal handler may call.
void deleteHalfFiles(int number) {
    for (const auto& path : halfFiles)
        if (path != nullptr)
            ::unlink(path);
    // The handler was taken away with this call: the signal now ends the process.
    static_cast<void>(::raise(number));
}

}  // namespace

void handleInterruptions() {
    for (const int number : kSignals) {
        struct sigaction action {};
        if (::sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = deleteHalfFiles;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigaction(number, &action, nullptr);
    }
}

HalfFile::HalfFile(const std::string& path) : slot_(kNoSlot) {
    char* copy = ::strdup(path.c_str());
    for (std::size_t i = 0; i < halfFiles.size() && copy != nullptr; ++i) {
        char* expected = nullptr;
        if (halfFiles.at(i).compare_exchange_strong(expected, copy)) {
            slot_ = static_cast<int>(i);
            return;
        }
    }
    std::free(copy);
}

HalfFile::~HalfFile() {
    if (slot_ != kNoSlot)
        std::free(halfFiles.at(static_cast<std::size_t>(slot_)).exchange(nullptr));
}

NoInterruption::NoInterruption() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int number : kSignals)
        ::sigaddset(&signals, number);
    ::pthread_sigmask(SIG_BLOCK, &signals, &before_);
}

NoInterruption::~NoInterruption() {
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace tavik::qpk
