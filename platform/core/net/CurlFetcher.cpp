// How several documents are fetched at once:
//
// 1. A file is read directly. Every other request becomes a Transfer.
// 2. A few transfers start. While answers come quickly, each transfer that ends makes room for the
//    next one, which uses its connection. When no answer has come for a while, all start, so that
//    one slow server does not hold up the others (Pace).
// 3. A transfer that follows a redirect goes back to libcurl with its next address.
// 4. The loop ends when all are done, when the time for all together is over, or when another
//    thread cancels. Transfers that are not done then fail with that cause.

#include "platform/core/net/CurlFetcher.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/core/net/LocalFile.h"
#include "platform/core/net/SigpipeGuard.h"

namespace tavik {
namespace {

/// The most transfers at once: enough that feeds on slow servers do not wait for each other, few
/// enough for any limit on open descriptors.
constexpr std::size_t kAtOnce = 64;

constexpr int kPollMilliseconds = 1000;

/// Decides how many transfers run at once. While answers come quickly, a few connections are used
/// again and again, because opening more would take longer. When no answer has come for a while,
/// all transfers are started.
class Pace {
  public:
    using Clock = std::chrono::steady_clock;

    void noteAnswer() { patienceEnd_ = Clock::now() + kPatience; }

    std::size_t atOnce() {
        if (Clock::now() >= patienceEnd_)
            atOnce_ = kAtOnce;
        return atOnce_;
    }

    int waitMilliseconds() const {
        return atOnce_ == kAtOnce ? kPollMilliseconds : static_cast<int>(kPatience.count());
    }

  private:
    static constexpr std::size_t kAtFirst = 6;
    static constexpr std::chrono::milliseconds kPatience{2};

    std::size_t atOnce_ = kAtFirst;
    Clock::time_point patienceEnd_ = Clock::now() + kPatience;
};

bool isFile(const Address& address) {
    return address.scheme() == Address::Scheme::file;
}

Fetcher::Sink appendTo(std::string& body) {
    return [&body](std::string_view bytes) {
        body.append(bytes);
        return true;
    };
}

}  // namespace

CurlFetcher::CurlFetcher(const FetchBounds& bounds) : bounds_(bounds), multi_(curl_multi_init()) {
    if (!multi_)
        throw std::bad_alloc();
}

std::vector<FetchResult> CurlFetcher::fetchAll(const std::vector<DocumentRequest>& requests) {
    std::vector<FetchResult> results(requests.size());
    std::vector<std::string> bodies(requests.size());
    Transfers transfers;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < requests.size(); ++i) {
        if (isFile(requests[i].address)) {
            results[i] =
                readLocalFile(requests[i].address, bounds_.documentBytes, appendTo(bodies[i]));
            continue;
        }
        transfers.push_back(std::make_unique<Transfer>(planFor(requests[i], bodies[i]), bounds_));
        places.push_back(i);
    }
    if (!batchEnd_)
        batchEnd_ = Clock::now() + bounds_.batch;
    run(transfers, *batchEnd_);
    for (std::size_t i = 0; i < transfers.size(); ++i)
        results[places[i]] = std::move(transfers[i]->result());
    for (std::size_t i = 0; i < results.size(); ++i)
        if (results[i].outcome == FetchResult::Outcome::fetched)
            results[i].body = std::move(bodies[i]);
    return results;
}

TransferPlan CurlFetcher::planFor(const DocumentRequest& request, std::string& body) const {
    TransferPlan plan;
    plan.address = request.address;
    if (!request.etag.empty())
        plan.headers.push_back("If-None-Match: " + request.etag);
    if (!request.lastModified.empty())
        plan.headers.push_back("If-Modified-Since: " + request.lastModified);
    plan.conditional = !plan.headers.empty();
    plan.compressed = true;
    plan.redirects = bounds_.redirects;
    plan.bodyLimit = bounds_.documentBytes;
    // 0 would be no bound.
    plan.whole = std::max(bounds_.document - request.spent, std::chrono::milliseconds(1));
    plan.sink = appendTo(body);
    return plan;
}

FetchResult CurlFetcher::download(const Address& address, std::uint64_t limit,
                                  std::chrono::milliseconds whole, const Sink& sink) {
    if (isFile(address))
        return readLocalFile(address, limit, sink);
    TransferPlan plan;
    plan.address = address;
    plan.redirects = bounds_.redirects;
    plan.bodyLimit = limit;
    plan.whole = whole;
    plan.sink = sink;
    plan.pulse = true;
    return runOne(std::move(plan));
}

FetchResult CurlFetcher::ask(const Address& address, const std::string& authorization) {
    TransferPlan plan;
    plan.address = address;
    plan.headers.push_back("Authorization: " + authorization);
    plan.bodyLimit = bounds_.documentBytes;
    plan.whole = bounds_.document;
    plan.sink = [](std::string_view /*bytes*/) { return true; };
    return runOne(std::move(plan));
}

void CurlFetcher::cancel() noexcept {
    cancelled_ = true;
    curl_multi_wakeup(multi_.get());
}

FetchResult CurlFetcher::runOne(TransferPlan plan) {
    Transfers one;
    one.push_back(std::make_unique<Transfer>(std::move(plan), bounds_));
    run(one, Clock::time_point::max());
    return std::move(one.front()->result());
}

void CurlFetcher::run(const Transfers& transfers, Clock::time_point end) {
    const SigpipeGuard guard;
    const std::string cause = runUntil(transfers, end);
    for (const auto& transfer : transfers) {
        if (transfer->isDone())
            continue;
        curl_multi_remove_handle(multi_.get(), transfer->handle());
        transfer->fail(cause);
    }
}

/// Runs the transfers; comes back early with the cause where they are to be given up.
std::string CurlFetcher::runUntil(const Transfers& transfers, Clock::time_point end) {
    std::size_t next = 0;
    std::size_t done = 0;
    Pace pace;
    while (done < transfers.size()) {
        if (cancelled_)
            return "was stopped";
        if (Clock::now() >= end)
            return "was given up, since all together took too long";
        const std::size_t atOnce = pace.atOnce();
        while (next < transfers.size() && next - done < atOnce)
            start(*transfers[next++]);
        int running = 0;
        if (const CURLMcode code = curl_multi_perform(multi_.get(), &running); code != CURLM_OK)
            return curl_multi_strerror(code);
        const std::size_t ended = collect();
        done += ended;
        if (ended > 0)
            pace.noteAnswer();
        else
            curl_multi_poll(multi_.get(), nullptr, 0, pace.waitMilliseconds(), nullptr);
    }
    return {};
}

void CurlFetcher::start(Transfer& transfer) {
    transfer.begin();
    if (curl_multi_add_handle(multi_.get(), transfer.handle()) != CURLM_OK)
        throw std::bad_alloc();
}

/// Handles the transfers that have ended. Returns how many of them are done; one that follows a
/// redirect is not.
std::size_t CurlFetcher::collect() {
    std::size_t done = 0;
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
        CURL* handle = message->easy_handle;
        const CURLcode code = message->data.result;
        void* pointer = nullptr;
        curl_easy_getinfo(handle, CURLINFO_PRIVATE, &pointer);
        auto* transfer = static_cast<Transfer*>(pointer);
        curl_multi_remove_handle(multi_.get(), handle);
        if (!transfer->finish(code))
            ++done;
        else if (curl_multi_add_handle(multi_.get(), handle) != CURLM_OK)
            throw std::bad_alloc();
    }
    return done;
}

}  // namespace tavik
