#pragma once

#include <functional>
#include <thread>

namespace tavik {

/// Starts a thread that no signal is delivered to: signals are the application's business, for
/// threads of its own. Throws std::system_error where none can be started.
std::thread startQuietThread(const std::function<void()>& run);

}  // namespace tavik
