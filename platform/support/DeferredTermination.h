#pragma once

namespace tavik {

/// While one of these lives, a SIGINT, SIGTERM or SIGHUP that would end the process at once only
/// makes isRequested() true: the work that would leave something half done looks at it, gives up
/// and tidies up. The end of the outermost object lets the signal do what it would have done.
/// Signals that the program handles or ignores itself are left alone. For one thread at a time.
class DeferredTermination {
  public:
    DeferredTermination() noexcept;
    ~DeferredTermination();
    DeferredTermination(const DeferredTermination&) = delete;
    DeferredTermination& operator=(const DeferredTermination&) = delete;

    /// From any thread.
    static bool isRequested() noexcept;
};

}  // namespace tavik
