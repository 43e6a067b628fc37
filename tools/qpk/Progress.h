#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace tavik::qpk {

/// One line on standard error that says how far some work is, where that is a terminal and the work
/// takes longer than half a second. It is gone when the work is done.
class Progress {
  public:
    /// `work` is what is being done, "packing"; `total` what reached() counts up to.
    Progress(std::string work, std::uint64_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void reached(std::uint64_t done);

    /// More work of which nobody can tell how far it is.
    void goOnWith(const std::string& work);

  private:
    using Clock = std::chrono::steady_clock;

    void show(const std::string& line);

    std::string work_;
    std::uint64_t total_;
    bool isWatched_;
    Clock::time_point next_;  ///< when the line may change
    std::string shown_;
};

}  // namespace tavik::qpk
