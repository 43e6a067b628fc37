#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tavik {

/// One line on a terminal that shows how far a long work has come: it appears after half a
/// second, and the object's end removes it. Where the descriptor is no terminal, nothing is ever
/// written.
class ProgressLine {
  public:
    explicit ProgressLine(int descriptor = 2,
                          std::chrono::milliseconds after = std::chrono::milliseconds(500));
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Bytes done, of a total that may be 0 while it is not known. From one thread at a time.
    void show(std::uint64_t done, std::uint64_t total) noexcept;

  private:
    using Clock = std::chrono::steady_clock;

    int descriptor_;
    bool isTerminal_;
    Clock::time_point next_;  ///< when the line may be drawn again
    std::size_t width_ = 0;   ///< of what stands on the terminal
};

}  // namespace tavik
