#pragma once

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "platform/core/net/Fetcher.h"
#include "platform/core/net/Transfer.h"

namespace tavik {

/// The Fetcher on libcurl's multi interface.
class CurlFetcher final : public Fetcher {
  public:
    explicit CurlFetcher(const FetchBounds& bounds);

    std::vector<FetchResult> fetchAll(const std::vector<DocumentRequest>& requests) override;
    FetchResult download(const Address& address, std::uint64_t limit,
                         std::chrono::milliseconds whole, const Sink& sink) override;
    FetchResult ask(const Address& address, const std::string& authorization) override;
    void cancel() noexcept override;

  private:
    using Clock = std::chrono::steady_clock;
    using Transfers = std::vector<std::unique_ptr<Transfer>>;

    TransferPlan planFor(const DocumentRequest& request, std::string& body) const;
    FetchResult runOne(TransferPlan plan);
    void run(const Transfers& transfers, Clock::time_point end);
    std::string runUntil(const Transfers& transfers, Clock::time_point end);
    void start(Transfer& transfer);
    std::size_t collect();

    struct Free {
        void operator()(CURLM* handle) const noexcept { curl_multi_cleanup(handle); }
    };

    FetchBounds bounds_;
    std::unique_ptr<CURLM, Free> multi_;
    std::optional<Clock::time_point> batchEnd_;
    std::atomic<bool> cancelled_{false};
};

}  // namespace tavik
