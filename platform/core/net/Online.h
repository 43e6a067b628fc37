#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/core/crypto/Crypto.h"
#include "platform/core/net/Fetcher.h"

namespace tavik {

/// What libTavikCoreOnline.so offers: the network and cryptography libraries live in that module
/// alone, so that a run that needs neither does not pay for loading them.
class Online {
  public:
    virtual ~Online() = default;

    /// A fetcher keeps connections open between its calls; it is used from one thread at a time.
    virtual std::unique_ptr<Fetcher> newFetcher(const FetchBounds& bounds) = 0;

    /// Lives as long as the process; usable from any thread.
    virtual Crypto& crypto() = 0;

    /// The libraries that the module has loaded, each by name and version.
    virtual std::vector<std::pair<std::string, std::string>> libraries() = 0;
};

/// Goes up with every change of the interfaces above; a module of another number is refused.
inline constexpr int kOnlineInterface = 4;

/// The module's one exported function; null for another interface than `interface`. What it returns
/// lives as long as the process.
using OnlineFactory = Online*(int interface);
inline constexpr const char* kOnlineFactoryName = "tavikOnline";

/// The module, loaded on the first call. Throws Error (updatesUnavailable) if it cannot be loaded.
Online& loadOnline();

}  // namespace tavik
