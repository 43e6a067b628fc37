#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/core/net/Online.h"
#include "platform/core/policy/Policy.h"
#include "platform/core/updates/FeedDatabase.h"
#include "platform/core/updates/FeedRetrieval.h"
#include "platform/core/updates/Offer.h"
#include "platform/support/Error.h"

namespace tavik {

/// Which feeds a check asks.
enum class AskedFeeds {
    ofExtensions,  ///< those that may have updates for the extensions of the input
    ofProducts,    ///< those of the installed products, whatever is installed
    all
};

/// Which version of an installed extension a check looks for.
enum class Sought {
    update,      ///< see chooseUpdate
    sameVersion  ///< the very one that is installed, to install it again
};

/// What a check works on: a snapshot of the store, so that the check needs none of its locks.
struct UpdateCheckInput {
    std::vector<UpdatableExtension> extensions;
    std::vector<UpdatableProduct> products;  ///< the installed ones
    std::string cacheFile;                   ///< see FeedDatabase
    FeedVerifier verify;                     ///< empty: no signature is fetched or checked
    Policy policy;                           ///< what may be asked and offered, and where
    AskedFeeds asked = AskedFeeds::ofExtensions;
    Sought sought = Sought::update;
    FetchBounds bounds;
};

/// One check for updates of all installed extensions: which feeds there are, what they say, and
/// what that means for each extension. Each feed is fetched once, however many name it; the
/// `updateUrl` of an extension goes before the `updateFeed` of its products.
class UpdateCheck {
  public:
    /// Loads the module for the network. Throws Error.
    explicit UpdateCheck(UpdateCheckInput input);

    /// Fetches and judges the feeds; returns within the bounds of the input. Throws Error where the
    /// check as a whole cannot be made. The answers below are there once it has returned.
    void run();

    /// Makes run() come back without waiting for servers. From any thread.
    void cancel() noexcept { fetcher_->cancel(); }

    /// The extension's update, or whatever version was sought. Throws Error: noUpdate where there
    /// is none, the failure of its feed where that kept it from being found, versionRepublished.
    const Offer& updateOf(const std::string& idKey) const;

    /// The updates of the product's extensions, in the order of the extensions in the input. Throws
    /// Error, the first failure, where a feed of the product or of one of its extensions failed.
    std::vector<const Offer*> updatesOf(const std::string& productName) const;

    /// What the feeds that were asked have for anybody: of each extension and feed the newest
    /// version that fits an installed product and that the policy allows, or the `wanted` one; by
    /// id, and the newest first.
    std::vector<Offer> offers(const std::optional<Version>& wanted = {}) const;

    /// Why feeds that were to be asked are missing in that.
    std::vector<Error> failures() const;

    /// Why the results of earlier checks could not be read, or why those of this one could not be
    /// saved for the next; nothing where both worked. This check's results are good either way.
    const std::optional<Error>& warning() const noexcept { return warning_; }

  private:
    /// A feed under its address, or why that address is refused.
    struct NamedFeed {
        std::unique_ptr<FeedRetrieval> source;
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
        FeedRetrieval* feed;
        DocumentRequest request;
        void (FeedRetrieval::*take)(FetchResult);
    };

    void nameFeeds();
    const NamedFeed& feedAt(const std::string& address, const std::string& namedBy);
    NamedFeed nameFeed(const std::string& address, const std::string& namedBy) const;
    std::vector<FeedRetrieval*> sources() const;
    void fetch();
    void run(const std::vector<Errand>& errands);
    std::optional<FeedDatabase> recall();
    void keep(FeedDatabase& cache);
    Offer offerOf(const FeedItem& item, const FeedRetrieval& source, std::string name) const;
    void find(const UpdatableExtension& extension, Finding& finding) const;
    const FeedItem* choose(const Feed& feed, const UpdatableExtension& extension) const;
    const UpdatableProduct* product(const std::string& name) const;

    UpdateCheckInput input_;
    std::unique_ptr<Fetcher> fetcher_;
    std::map<std::string, NamedFeed> feeds_;  ///< by the address as it is named
    std::map<std::string, NamedFeed*> byAddress_;
    std::vector<Finding> findings_;  ///< one for each extension of the input
    std::optional<Error> warning_;
};

}  // namespace tavik
