#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/net/Fetcher.h"
#include "platform/core/trust/Signer.h"
#include "platform/core/updates/Feed.h"
#include "platform/core/updates/FeedDatabase.h"
#include "platform/support/Error.h"

namespace tavik {

/// Who signed a feed, by its bytes, its signature and the bytes of the succession beside it, which
/// is empty where there is none or none was asked for. Throws Error if the feed must not be
/// trusted. Called from the thread of the check. If it is empty, every feed is trusted and no
/// signature is fetched.
using FeedVerifier = std::function<Signer(const CachedFeed& feed, const std::string& succession)>;

/// One feed, from its address to content that can be trusted. After the first failure no later step
/// is taken.
class FeedRetrieval {
  public:
    /// `address`: as it is named, under which the feed is remembered; `place`: where it is fetched.
    FeedRetrieval(Address address, Address place)
        : address_(std::move(address)), place_(std::move(place)) {}

    /// What earlier runs know of the feed.
    void remember(KnownFeed known);

    DocumentRequest request() const;
    void take(FetchResult result);

    /// Whether its signature is fetched in the same round. It is if no copy of the feed is kept,
    /// because then the feed's bytes are new in any case.
    bool needsSignature(const FeedVerifier& verifier) const { return verifier && !remembered_; }

    /// Whether its signature has to be fetched after it: for bytes that replace kept ones, and
    /// where what is kept is not enough.
    bool lacksSignature(const FeedVerifier& verifier) const;
    DocumentRequest signatureRequest() const;
    void takeSignature(FetchResult result);

    /// Whether the statements of succession have to be fetched: where its key is not the one that
    /// is remembered, or is not trusted by itself.
    bool lacksSuccession(const FeedVerifier& verifier) const;
    DocumentRequest successionRequest() const;
    void takeSuccession(FetchResult result);

    /// Reads the feed; refuses one that is not trusted, signed by another key than the one that is
    /// remembered, not valid, past its date at `now` (seconds since 1970), or older than the one
    /// that is remembered.
    void judge(const FeedVerifier& verifier, std::int64_t now);

    const std::optional<Error>& failure() const noexcept { return failure_; }
    std::string address() const { return address_.text(); }
    const Feed& feed() const noexcept { return feed_; }
    /// Fingerprint of the key that signed it; empty: unsigned.
    const std::string& signer() const noexcept { return copy_.signer; }

    /// Whether the feed, now or once, has that version under another digest.
    bool isRepublished(const FeedItem& item) const;

    /// What is to be kept, where that is not kept already; `installed`: the keys of extensions
    /// whose versions are to be remembered.
    std::optional<GoodFeed> news(const std::set<std::string>& installed) const;

  private:
    bool beginsAnew() const;
    std::string rememberedSigner(const FeedVerifier& verifier) const;
    void refuse(Status status, const std::string& detail);
    void refuseFetch(const FetchResult& result, const std::string& what);

    Address address_;
    Address place_;
    Address source_;  ///< where redirects ended: relative addresses belong to it
    std::optional<CachedFeed> remembered_;
    std::vector<SeenVersion> seen_;       ///< in DigestOrder
    std::chrono::milliseconds spent_{0};  ///< on its bytes; its signature has what is left
    CachedFeed copy_;
    std::string succession_;
    bool isFresh_ = false;  ///< its bytes have come with this check
    Feed feed_;
    std::optional<Error> failure_;
};

}  // namespace tavik
