#include "tools/qpk/Progress.h"

#include <unistd.h>

#include <iostream>

namespace tavik::qpk {
namespace {

constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kPause{100};

}  // namespace

Progress::Progress(std::string work, std::uint64_t total)
    : work_(std::move(work)),
      total_(total),
      isWatched_(::isatty(STDERR_FILENO) == 1),
      next_(Clock::now() + kPatience) {}

Progress::~Progress() {
    if (!shown_.empty())
        show("");
}

void Progress::reached(std::uint64_t done) {
    if (!isWatched_ || Clock::now() < next_)
        return;
    next_ = Clock::now() + kPause;
    const std::uint64_t percent = total_ == 0 ? 100 : done * 100 / total_;
    show(work_ + " " + std::to_string(percent) + " %");
}

void Progress::goOnWith(const std::string& work) {
    if (!shown_.empty() || (isWatched_ && Clock::now() >= next_))
        show(work);
}

/// Blanks cover what was longer: that works on every terminal.
void Progress::show(const std::string& line) {
    const std::string gone(shown_.size() > line.size() ? shown_.size() - line.size() : 0, ' ');
    std::cerr << '\r' << line << gone << (line.empty() ? "\r" : "") << std::flush;
    shown_ = line;
}

}  // namespace tavik::qpk
