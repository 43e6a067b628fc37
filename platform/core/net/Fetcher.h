#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/net/Address.h"

namespace tavik {

/// What a fetch may take. Tests shorten the times.
struct FetchBounds {
    std::chrono::milliseconds connect{10'000};   ///< name look-up, connection and TLS
    std::chrono::seconds stall{30};              ///< with less than 1 KiB a second arriving
    std::chrono::milliseconds document{60'000};  ///< a whole document, its redirects included
    std::chrono::milliseconds batch{180'000};    ///< all documents of one fetcher
    std::chrono::milliseconds package{900'000};  ///< a package; and a second for each 64 KiB of it
    std::uint64_t documentBytes = std::uint64_t{8} << 20;  ///< decoded
    std::size_t headerBytes = std::size_t{64} << 10;       ///< of all answers to one request
    unsigned headers = 256;                                ///< the same, counted
    unsigned redirects = 5;
};

/// A small document to be fetched whole. With a tag or a date it is fetched only where it has
/// changed since; both are given as an earlier answer had them.
struct DocumentRequest {
    Address address;
    std::string etag;
    std::string lastModified;
    std::chrono::milliseconds spent{0};  ///< already used of the document's time
};

struct FetchResult {
    enum class Outcome {
        fetched,    ///< `body` has it all
        unchanged,  ///< the conditional request's document is still as it was
        absent,     ///< 404, 410, or no such file
        tooLarge,   ///< more bytes than the limit
        untrusted,  ///< the server's certificate is not accepted
        failed
    };

    Outcome outcome = Outcome::failed;
    int httpStatus = 0;  ///< of the last answer; 0 where there was none, or no HTTP
    std::string body;
    std::string etag;
    std::string lastModified;
    Address address;  ///< where redirects ended
    std::chrono::milliseconds spent{0};
    std::string failure;  ///< the cause in a few words, unless fetched or unchanged
};

/// Fetches over https, from http servers on this machine, and from files. Failures come back as
/// values; nothing but std::bad_alloc is thrown. The standard proxy variables, SSL_CERT_FILE and
/// SSL_CERT_DIR hold. Redirects are followed as Address::follow allows. Only an answer with status
/// 200 counts: a partial document, an error page and an unrequested 304 are refused.
class Fetcher {
  public:
    /// Takes the next bytes; false ends the transfer as failed. It must not throw. A download also
    /// calls it without bytes, about once a second while nothing arrives, so that it can end the
    /// transfer.
    using Sink = std::function<bool(std::string_view bytes)>;

    virtual ~Fetcher() = default;

    /// Fetches all of them, many at a time; the answers come in the order of the requests. The
    /// time for the batch runs from the first call on: later ones have what is left of it.
    virtual std::vector<FetchResult> fetchAll(const std::vector<DocumentRequest>& requests) = 0;

    /// Hands a file's bytes to `sink` as they arrive; `limit` bytes at the most pass, the first one
    /// over it ends the transfer as failed. `body` stays empty. `whole`: the time for all of it,
    /// its redirects included; more than 0.
    virtual FetchResult download(const Address& address, std::uint64_t limit,
                                 std::chrono::milliseconds whole, const Sink& sink) = 0;

    /// Asks with the value of an Authorization header, which goes to this address's host and to no
    /// other: a redirect is an answer that failed. The body is thrown away.
    virtual FetchResult ask(const Address& address, const std::string& authorization) = 0;

    /// Ends running transfers as failed, and all later ones at once. From any thread.
    virtual void cancel() noexcept = 0;
};

}  // namespace tavik
