// What a feed must pass before it is trusted, and which attack each step answers:
//
// 1. Its bytes are new, or they are the kept copy because the server says that nothing has changed.
// 2. Its signature is right for exactly these bytes. New bytes need it anew, kept ones only where
//    keys or rules have changed since. The key must not be revoked, and it must be trusted where
//    the policy requires that.
// 3. The signer is that of the last good copy, a successor that it named, or a trusted key in the
//    place of one that is not: whoever takes over the server cannot drop the signature or use
//    another key.
// 4. The content is valid as a whole. Entries with faults are left out.
// 5. It has not expired: nobody can hold an old feed back for ever.
// 6. Its serial is not lower than that of the last good copy: nobody can replay an old feed before
//    it expires. After the highest serial there is, which no feed could follow, one that says that
//    its serials begin anew is taken. An older feed does not say so, and cannot be replayed even
//    then.
// 7. A version keeps the checksum that it had first (see isRepublished).
//
// The first failure ends this, and nothing of a feed that failed is kept.

#include "platform/core/updates/FeedRetrieval.h"

#include <algorithm>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/status/Status.h"
#include "platform/core/trust/Succession.h"
#include "platform/core/updates/VersionOrder.h"
#include "platform/support/UtcTime.h"

namespace tavik {
namespace {

using Outcome = FetchResult::Outcome;

constexpr std::size_t kDayLength = 10;  // "2027-01-31"

bool isSame(const CachedFeed& a, const CachedFeed& b) {
    return a.body == b.body && a.signature == b.signature && a.etag == b.etag &&
           a.lastModified == b.lastModified && a.signer == b.signer && a.goodOn == b.goodOn;
}

}  // namespace

void FeedRetrieval::remember(KnownFeed known) {
    remembered_ = std::move(known.copy);
    seen_ = std::move(known.seen);
    std::sort(seen_.begin(), seen_.end(), DigestOrder());
}

DocumentRequest FeedRetrieval::request() const {
    if (!remembered_)
        return {place_, {}, {}};
    return {place_, remembered_->etag, remembered_->lastModified};
}

void FeedRetrieval::take(FetchResult result) {
    source_ = result.address;
    spent_ = result.spent;
    switch (result.outcome) {
        case Outcome::fetched:
            isFresh_ = true;
            copy_.address = address();
            copy_.etag = std::move(result.etag);
            copy_.lastModified = std::move(result.lastModified);
            copy_.body = std::move(result.body);
            break;
        case Outcome::unchanged:
            copy_ = *remembered_;
            break;
        case Outcome::tooLarge:
            refuse(Status::feedInvalid, result.failure);
            break;
        case Outcome::absent:
        case Outcome::untrusted:
        case Outcome::failed:
            refuseFetch(result, {});
            break;
    }
}

bool FeedRetrieval::lacksSignature(const FeedVerifier& verifier) const {
    if (failure_ || !verifier || needsSignature(verifier))
        return false;
    if (isFresh_)
        return true;
    // A copy that was accepted before needs no new signature, unless keys or rules have changed.
    try {
        verifier(copy_, {});
        return false;
    } catch (const Error&) {
        return true;
    }
}

DocumentRequest FeedRetrieval::signatureRequest() const {
    return {place_.withPathSuffix(kSignatureSuffix), {}, {}, spent_};
}

void FeedRetrieval::takeSignature(FetchResult result) {
    if (failure_)
        return;
    if (result.outcome == Outcome::fetched || result.outcome == Outcome::absent)
        copy_.signature = std::move(result.body);
    else
        refuseFetch(result, "its signature ");
}

bool FeedRetrieval::lacksSuccession(const FeedVerifier& verifier) const {
    if (failure_ || !verifier || copy_.signature.empty())
        return false;
    try {
        const std::string before = rememberedSigner(verifier);
        return !before.empty() && before != verifier(copy_, {}).key;
    } catch (const Error& error) {
        return error.status() == static_cast<int>(Status::signerUnknown);
    }
}

DocumentRequest FeedRetrieval::successionRequest() const {
    return {place_.withPathSuffix(kSuccessionSuffix), {}, {}, spent_};
}

/// Without these statements the signer is judged as it is.
void FeedRetrieval::takeSuccession(FetchResult result) {
    if (result.outcome == Outcome::fetched)
        succession_ = std::move(result.body);
}

void FeedRetrieval::judge(const FeedVerifier& verifier, std::int64_t now) {
    if (failure_)
        return;
    try {
        if (verifier) {
            const Signer signer = verifier(copy_, succession_);
            requireSameFeedSigner(rememberedSigner(verifier), signer, address());
            copy_.signer = signer.key;
        }
        feed_ = parseFeed(copy_.body, source_);
    } catch (const Error& error) {
        failure_ = error;
        return;
    }
    copy_.serial = feed_.serial;
    // A day, not a time: a check that brings nothing new writes once a day, not every time.
    copy_.goodOn = formatUtcTime(now).substr(0, kDayLength);
    if (feed_.expires <= now)
        refuse(Status::feedExpired, "on " + feed_.expiresText);
    else if (remembered_ && feed_.serial < remembered_->serial && !beginsAnew())
        refuse(Status::feedRolledBack,
               "serial " + std::to_string(feed_.serial) +
                   ", seen before: " + std::to_string(remembered_->serial) +
                   (remembered_->serial == kMaxFeedSerial
                        ? ", the highest there is; the publisher must publish the next feed with "
                          "\"restarts\": true, as qpk feed does"
                        : ""));
}

bool FeedRetrieval::beginsAnew() const {
    return feed_.restarts && remembered_->serial == kMaxFeedSerial;
}

bool FeedRetrieval::isRepublished(const FeedItem& item) const {
    return hasOtherDigest(seen_, item) || hasOtherDigest(feed_.items, item);
}

std::optional<GoodFeed> FeedRetrieval::news(const std::set<std::string>& installed) const {
    if (failure_)
        return std::nullopt;
    GoodFeed good;
    const auto isKnown = [this](const FeedItem& item) {
        return std::binary_search(seen_.begin(), seen_.end(), item, VersionOrder());
    };
    for (const auto& item : feed_.items)
        if (!item.blocked && installed.count(item.idKey) != 0 && !isKnown(item) &&
            !isRepublished(item))
            good.versions.push_back({item.idKey, item.version, item.sha256});
    if (good.versions.empty() && remembered_ && isSame(*remembered_, copy_))
        return std::nullopt;
    good.copy = copy_;
    good.restarts = feed_.restarts;
    return good;
}

/// The key that signed the feed when it was last good; empty where it was unsigned or never seen.
std::string FeedRetrieval::rememberedSigner(const FeedVerifier& verifier) const {
    if (!remembered_)
        return {};
    if (!remembered_->signer.empty() || remembered_->signature.empty())
        return remembered_->signer;
    // An earlier version kept it without its signer.
    try {
        return verifier(*remembered_, {}).key;
    } catch (const Error&) {
        return {};  // Keys or rules have changed, so the kept copy no longer says who signed it.
    }
}

/// Names the place that was asked, where it is another than the address that people know.
void FeedRetrieval::refuseFetch(const FetchResult& result, const std::string& what) {
    const std::string place = place_.text();
    const std::string cause = what + result.failure;
    refuse(
        result.outcome == Outcome::untrusted ? Status::certificateRefused : Status::feedUnreachable,
        place == address() ? cause : "policy.json redirects it to " + place + ": " + cause);
}

void FeedRetrieval::refuse(Status status, const std::string& detail) {
    failure_.emplace(static_cast<int>(status), address(), detail);
}

}  // namespace tavik
