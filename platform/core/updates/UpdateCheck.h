#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/core/online/Online.h"
#include "platform/core/updates/Update.h"
#include "platform/support/Error.h"

namespace tavik {

/// What a check works on: a snapshot of the store, so that the check needs none of its locks.
struct UpdateCheckInput {
    std::vector<UpdatableExtension> extensions;
    std::vector<UpdatableProduct> products;  ///< the installed ones
    std::string cacheFile;                   ///< see FeedCache
    FeedTrust trust;
    FetchBounds bounds;
};

class UpdateSearch;

/// One check for updates of all installed extensions. Each feed is fetched once, however many name
/// it; the `updateUrl` of an extension goes before the `updateFeed` of its products.
class UpdateCheck {
  public:
    /// Starts the check on a thread of its own. Failures show in the answers below.
    explicit UpdateCheck(UpdateCheckInput input);

    /// Ends a check that is still under way, without waiting for servers.
    ~UpdateCheck();
    UpdateCheck(const UpdateCheck&) = delete;
    UpdateCheck& operator=(const UpdateCheck&) = delete;

    /// Returns when the check has ended, within its bounds. Throws Error where the check as a whole
    /// could not be made (updatesUnavailable). The calls below wait as well.
    void wait();

    /// The extension's update. Throws Error: noUpdate where there is none, the failure of its feed
    /// where that kept it from being found, versionRepublished.
    const Offer& updateOf(const std::string& idKey);

    /// The updates of the product's extensions, in the order of the extensions in the input. Throws
    /// Error, the first failure, where a feed of the product or of one of its extensions failed.
    std::vector<const Offer*> updatesOf(const std::string& productName);

    /// Why earlier checks are not remembered, or why this one could not be kept for the next, where
    /// that is so; this check's results hold all the same.
    const std::optional<Error>& warning();

  private:
    std::unique_ptr<UpdateSearch> search_;
    std::exception_ptr failure_;
    std::thread thread_;
};

}  // namespace tavik
