#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/online/Online.h"
#include "platform/core/updates/FeedCache.h"
#include "platform/core/updates/FeedSource.h"
#include "platform/core/updates/UpdateCheck.h"
#include "platform/support/Error.h"

namespace tavik {

/// The work of an update check: which feeds there are, what they say, and what that means for each
/// extension.
class UpdateSearch {
  public:
    /// Loads the module for the network. Throws Error.
    explicit UpdateSearch(UpdateCheckInput input);

    void run();
    void cancel() noexcept { fetcher_->cancel(); }

    // The answers of UpdateCheck, once run() has come back.
    const Offer& updateOf(const std::string& idKey) const;
    std::vector<const Offer*> updatesOf(const std::string& productName) const;
    const std::optional<Error>& warning() const noexcept { return warning_; }

  private:
    /// A feed under its address, or why that address is refused.
    struct NamedFeed {
        std::unique_ptr<FeedSource> source;
        std::optional<Error> refusal;

        const std::optional<Error>& failure() const { return source ? source->failure() : refusal; }
    };

    /// What came of one installed extension.
    struct Finding {
        std::vector<const NamedFeed*> feeds;
        std::optional<Offer> offer;
        std::optional<Error> failure;  ///< the first one on the way to an offer
        std::string note;              ///< why there is no offer, where a feed says so
    };

    /// A document to be fetched for a feed, and what takes the answer.
    struct Errand {
        FeedSource* feed;
        DocumentRequest request;
        void (FeedSource::*take)(FetchResult);
    };

    void nameFeeds();
    const NamedFeed& feedAt(const std::string& address, const std::string& namedBy);
    std::vector<FeedSource*> sources() const;
    void fetch();
    void run(const std::vector<Errand>& errands);
    std::optional<FeedCache> recall();
    void keep(FeedCache& cache);
    void find(const UpdatableExtension& extension, Finding& finding) const;
    const UpdatableProduct* product(const std::string& name) const;

    UpdateCheckInput input_;
    std::unique_ptr<Fetcher> fetcher_;
    std::map<std::string, NamedFeed> feeds_;  ///< by the address as it is named
    std::map<std::string, NamedFeed*> byAddress_;
    std::vector<Finding> findings_;  ///< one for each extension of the input
    std::optional<Error> warning_;
};

}  // namespace tavik
