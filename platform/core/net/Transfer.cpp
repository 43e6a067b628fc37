// One request, from its address to its outcome, and what each step guards against:
//
// 1. aim() points libcurl at an address that has passed Address's rules. Only its own scheme is
//    allowed, and its path is asked for as it stands: libcurl does not interpret it anew.
// 2. Headers are counted as they arrive, and so are the decoded bytes of the body. A server cannot
//    fill the memory, nor hide a large document in a small compressed one. Only the body of an
//    answer 200 goes to the sink.
// 3. There is a limit of time for the connection, for a line on which next to nothing arrives, and
//    for the whole with all its redirects. No server can make the caller wait longer.
// 4. libcurl follows no redirect. Each is judged here by Address::follow, which never leads from
//    https to http, and goes back to step 1. Their number is limited. A request that carries a
//    token has none: the token would go to the other host.
// 5. judge() makes the last answer an outcome. Only 200 counts, and 304 where a copy was named.

#include "platform/core/net/Transfer.h"

#include <curl/curl.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <utility>

#include "platform/core/net/Proxy.h"
#include "platform/support/Environment.h"

namespace tavik {
namespace {

constexpr std::uint64_t kPageBytes = 65536;
constexpr long kStallBytesPerSecond = 1024;
constexpr int kOk = 200;
constexpr int kPartial = 206;
constexpr int kNotModified = 304;
constexpr int kNotFound = 404;
constexpr int kGone = 410;

template <typename Value>
void set(CURL* handle, CURLoption option, Value value) {
    // The module has checked libcurl's version, so every option is known: only memory can be
    // missing.
    if (curl_easy_setopt(handle, option, value) != CURLE_OK)
        throw std::bad_alloc();
}

long milliseconds(std::chrono::milliseconds time) {
    return static_cast<long>(time.count());
}

constexpr const char* kTooLongHeaders = "answers with too many or too long headers";

bool isAboutCertificates(CURLcode code) {
    return code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE ||
           code == CURLE_SSL_ISSUER_ERROR || code == CURLE_SSL_INVALIDCERTSTATUS ||
           code == CURLE_SSL_CRL_BADFILE;
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

}  // namespace

Transfer::Transfer(TransferPlan plan, const FetchBounds& bounds)
    : plan_(std::move(plan)),
      bounds_(bounds),
      handle_(curl_easy_init()),
      redirectsLeft_(plan_.redirects) {
    if (!handle_)
        throw std::bad_alloc();
    for (const auto& line : plan_.headers) {
        curl_slist* longer = curl_slist_append(headers_.get(), line.c_str());
        if (longer == nullptr)
            throw std::bad_alloc();
        static_cast<void>(headers_.release());
        headers_.reset(longer);
    }
    setUp();
    setUpTls();
    setUpBounds();
}

Transfer::~Transfer() {
    // Headers may hold a secret.
    handle_.reset();
    for (curl_slist* line = headers_.get(); line != nullptr; line = line->next)
        explicit_bzero(line->data, strlen(line->data));
    for (auto& line : plan_.headers)
        explicit_bzero(line.data(), line.size());
}

void Transfer::setUp() {
    CURL* handle = handle_.get();
    set(handle, CURLOPT_PRIVATE, static_cast<void*>(this));
    set(handle, CURLOPT_ERRORBUFFER, errorText_.data());
    set(handle, CURLOPT_NOSIGNAL, 1L);
    set(handle, CURLOPT_USERAGENT, "TavikCoreLib/" TAVIK_VERSION);
    set(handle, CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
    set(handle, CURLOPT_FOLLOWLOCATION, 0L);  // each step is judged by our own rules
    set(handle, CURLOPT_PATH_AS_IS, 1L);      // what was judged is what is asked for
    set(handle, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    set(handle, CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(handle, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    set(handle, CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(handle, CURLOPT_HTTPHEADER, headers_.get());
    set(handle, CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));  // none for proxies
    if (plan_.pulse) {
        set(handle, CURLOPT_NOPROGRESS, 0L);
        set(handle, CURLOPT_XFERINFOFUNCTION, &Transfer::onPulse);
        set(handle, CURLOPT_XFERINFODATA, static_cast<void*>(this));
    }
    if (plan_.compressed)
        set(handle, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
}

void Transfer::setUpTls() {
    set(handle(), CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    // Programs that use OpenSSL read these two; libcurl itself does not.
    if (const auto file = environmentVariable("SSL_CERT_FILE"))
        set(handle(), CURLOPT_CAINFO, file->c_str());
    if (const auto folder = environmentVariable("SSL_CERT_DIR"))
        set(handle(), CURLOPT_CAPATH, folder->c_str());
}

void Transfer::setUpBounds() {
    set(handle(), CURLOPT_CONNECTTIMEOUT_MS, milliseconds(bounds_.connect));
    set(handle(), CURLOPT_LOW_SPEED_LIMIT, kStallBytesPerSecond);
    set(handle(), CURLOPT_LOW_SPEED_TIME, static_cast<long>(bounds_.stall.count()));
    // A hanging name look-up must not delay the end of a transfer that has timed out.
    set(handle(), CURLOPT_QUICK_EXIT, 1L);
}

void Transfer::begin() {
    start_ = std::chrono::steady_clock::now();
    aim(plan_.address);
}

/// Points the handle at that address. False if the time is over.
bool Transfer::aim(const Address& address) {
    result_.address = address;
    set(handle(), CURLOPT_URL, address.text().c_str());
    const bool secure = address.scheme() == Address::Scheme::https;
    set(handle(), CURLOPT_PROTOCOLS_STR, secure ? "https" : "http");
    set(handle(), CURLOPT_PROXY, proxyFor(address));
    if (plan_.whole.count() == 0)
        return true;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        plan_.whole - (std::chrono::steady_clock::now() - start_));
    set(handle(), CURLOPT_TIMEOUT_MS, std::max(milliseconds(left), 1L));
    return left.count() > 0;
}

bool Transfer::finish(CURLcode code) {
    long status = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    result_.httpStatus = static_cast<int>(status);
    result_.spent = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start_);
    if (std::exchange(pageCut_, false))
        code = CURLE_OK;
    bodyBytes_ = 0;
    if (code == CURLE_OK && isRedirect(result_.httpStatus) && plan_.redirects > 0)
        return redirect();
    judge(code);
    return false;
}

bool Transfer::redirect() {
    const std::string location = header("Location");
    if (location.empty()) {
        fail("answered " + std::to_string(result_.httpStatus) + " without a place to go");
        return false;
    }
    if (redirectsLeft_-- == 0) {
        fail("redirects more than " + std::to_string(plan_.redirects) + " times");
        return false;
    }
    try {
        if (aim(result_.address.follow(location)))
            return true;
        fail("took longer than " + std::to_string(plan_.whole.count()) + " ms");
    } catch (const AddressError& error) {
        fail(std::string("redirects to an address that ") + error.what());
    }
    return false;
}

void Transfer::judge(CURLcode code) {
    const int status = result_.httpStatus;
    done_ = true;
    if (code != CURLE_OK)
        return failWith(code);
    if (status == kOk) {
        result_.outcome = FetchResult::Outcome::fetched;
    } else if (status == kNotModified && plan_.conditional) {
        result_.outcome = FetchResult::Outcome::unchanged;
    } else if (status == kNotModified) {
        fail("answered 304 (unchanged) to a request without a copy to compare");
    } else if (status == kPartial) {
        fail("answered 206 (a part) to a request for the whole");
    } else {
        fail("answered " + std::to_string(status));
        if (status == kNotFound || status == kGone)
            result_.outcome = FetchResult::Outcome::absent;
    }
    result_.etag = header("ETag");
    result_.lastModified = header("Last-Modified");
}

void Transfer::fail(std::string cause) {
    done_ = true;
    result_.outcome = FetchResult::Outcome::failed;
    result_.failure = std::move(cause);
}

void Transfer::failWith(CURLcode code) {
    if (tooLarge_) {
        fail("has more than " + std::to_string(plan_.bodyLimit) + " bytes");
        result_.outcome = FetchResult::Outcome::tooLarge;
    } else if (!fault_.empty()) {
        fail(fault_);
    } else if (isTooLongHeader(code)) {
        fail(kTooLongHeaders);
    } else {
        fail(withoutProxyPasswords(errorText_.front() != '\0' ? errorText_.data()
                                                              : curl_easy_strerror(code)));
        if (isAboutCertificates(code))
            result_.outcome = FetchResult::Outcome::untrusted;
    }
}

/// libcurl reports a header line longer than its buffer (100 KB) as a lack of memory.
bool Transfer::isTooLongHeader(CURLcode code) const {
    curl_off_t answerBegan = 0;
    curl_easy_getinfo(handle(), CURLINFO_STARTTRANSFER_TIME_T, &answerBegan);
    return code == CURLE_OUT_OF_MEMORY && answerBegan > 0 && bodyBytes_ == 0;
}

/// A header of the last answer; empty where it has none.
std::string Transfer::header(const char* name) const {
    curl_header* found = nullptr;
    if (curl_easy_header(handle(), name, 0, CURLH_HEADER, -1, &found) != CURLHE_OK)
        return {};
    // An empty value comes with its line end.
    const std::string value = found->value;
    return value.substr(0, value.find_last_not_of(" \t\r\n") + 1);
}

std::size_t Transfer::takeHeader(std::string_view line) {
    headerBytes_ += line.size();
    if (headerBytes_ <= bounds_.headerBytes && ++headerCount_ <= bounds_.headers)
        return line.size();
    fault_ = kTooLongHeaders;
    return 0;
}

std::size_t Transfer::takeBody(std::string_view bytes) {
    long status = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    bodyBytes_ += bytes.size();
    if (status != kOk) {
        // An error page is read to its end so that the connection can be used again, but only up to
        // a limit.
        pageCut_ = bodyBytes_ > kPageBytes;
        return pageCut_ ? 0 : bytes.size();
    }
    tooLarge_ = bodyBytes_ > plan_.bodyLimit;
    return !tooLarge_ && plan_.sink(bytes) ? bytes.size() : 0;
}

// No exception may pass through libcurl; a count of 0 makes it end the transfer.
std::size_t Transfer::onHeader(char* data, std::size_t size, std::size_t count, void* self) try {
    return static_cast<Transfer*>(self)->takeHeader({data, size * count});
} catch (const std::exception&) {
    return 0;
}

std::size_t Transfer::onBody(char* data, std::size_t size, std::size_t count, void* self) try {
    return static_cast<Transfer*>(self)->takeBody({data, size * count});
} catch (const std::exception&) {
    return 0;
}

int Transfer::onPulse(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<Transfer*>(self)->plan_.sink({}) ? 0 : 1;
}

}  // namespace tavik
