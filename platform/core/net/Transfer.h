#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/net/Fetcher.h"

namespace tavik {

/// What one request is to fetch, and how.
struct TransferPlan {
    Address address;
    std::vector<std::string> headers;  ///< "Name: value"; sent to every host on the way
    bool conditional = false;          ///< the headers ask for changes only
    bool compressed = false;           ///< a compressed answer is welcome
    unsigned redirects = 0;
    std::uint64_t bodyLimit = 0;         ///< decoded bytes
    std::chrono::milliseconds whole{0};  ///< for all of it; 0 for no bound
    Fetcher::Sink sink;                  ///< takes the body of an answer with status 200
    bool pulse = false;                  ///< the sink is also to be called while nothing arrives
};

/// One request through libcurl, with the redirects that it meets. The object stays where it is
/// while its handle is at work.
class Transfer {
  public:
    Transfer(TransferPlan plan, const FetchBounds& bounds);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    CURL* handle() const noexcept { return handle_.get(); }

    /// Makes the handle ready; the time for the whole begins to run.
    void begin();

    /// Takes note of how the handle's work ended. True where a redirect is to be followed: the
    /// handle is then ready to be started again.
    bool finish(CURLcode code);

    /// Ends the transfer with that failure.
    void fail(std::string cause);

    bool isDone() const noexcept { return done_; }
    FetchResult& result() noexcept { return result_; }

  private:
    void setUp();
    void setUpTls();
    void setUpBounds();
    bool aim(const Address& address);
    bool redirect();
    void judge(CURLcode code);
    void failWith(CURLcode code);
    bool isTooLongHeader(CURLcode code) const;
    std::string header(const char* name) const;
    std::size_t takeHeader(std::string_view line);
    std::size_t takeBody(std::string_view bytes);

    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* self);
    static int onPulse(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    struct Free {
        void operator()(CURL* handle) const noexcept { curl_easy_cleanup(handle); }
        void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
    };

    TransferPlan plan_;
    FetchBounds bounds_;
    std::chrono::steady_clock::time_point start_;
    std::array<char, CURL_ERROR_SIZE> errorText_{};
    std::unique_ptr<curl_slist, Free> headers_;
    std::unique_ptr<CURL, Free> handle_;
    FetchResult result_;
    std::string fault_;  ///< why a callback of ours ended the transfer
    bool done_ = false;
    bool tooLarge_ = false;
    bool pageCut_ = false;
    unsigned redirectsLeft_ = 0;
    unsigned headerCount_ = 0;
    std::size_t headerBytes_ = 0;
    std::uint64_t bodyBytes_ = 0;
};

}  // namespace tavik
