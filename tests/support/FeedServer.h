#pragma once

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <iosfwd>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tavik::testing {

/// What the server answers at one path, right or wrong.
struct ServerAnswer {
    enum class Fault {
        none,
        stall,           ///< never answers
        stallInBody,     ///< sends the head and half of the body, then nothing
        cutInBody,       ///< the same, and hangs up
        endlessChunks,   ///< sends the body again and again
        endlessHeaders,  ///< never comes to the body
    };

    std::string body{};
    int status = 200;
    std::vector<std::string> headers{};  ///< further lines, e.g. "Location: /next"
    std::string etag{};                  ///< with quotes; a request that names it gets 304
    Fault fault = Fault::none;
    std::chrono::milliseconds delay{0};  ///< before the answer, for measurements
};

/// Key and certificate of a TLS server, made by openssl in a folder, which is made where it is
/// missing.
struct Certificate {
    /// What is wrong with it.
    enum class Flaw { none, expired, ofAnotherHost };

    explicit Certificate(const std::string& folder, Flaw flaw = Flaw::none);
    std::string file;  ///< PEM of both; what a client has to trust
};

/// An HTTP/1.1 server on a free port of 127.0.0.1 that keeps connections open, and misbehaves on
/// command. Any path not served answers 404.
class FeedServer {
  public:
    FeedServer();
    explicit FeedServer(const Certificate& certificate);
    ~FeedServer() { stop(); }
    FeedServer(const FeedServer&) = delete;
    FeedServer& operator=(const FeedServer&) = delete;

    void serve(const std::string& path, ServerAnswer answer);
    /// Hangs up and refuses connections from now on.
    void stop();

    std::string address(const std::string& path) const;

    /// What was asked for: "METHOD TARGET" and the header lines, joined with "\n".
    std::vector<std::string> requests(const std::string& target) const;
    /// Returns when that target has been asked for so many times; throws after ten seconds.
    void waitForRequest(const std::string& target, std::size_t times = 1);
    /// How many answers had a body.
    unsigned bodies() const { return bodies_; }

  private:
    FeedServer(const Poco::Net::ServerSocket& listener, std::string scheme);
    void acceptAll();
    void talk(Poco::Net::StreamSocket socket);
    bool answerNext(std::iostream& client);
    bool send(std::iostream& client, const ServerAnswer& answer);

    Poco::Net::ServerSocket listener_;
    std::string scheme_;
    std::atomic<unsigned> bodies_{0};
    mutable std::recursive_mutex mutex_;
    std::condition_variable_any asked_;
    std::map<std::string, ServerAnswer> answers_;
    std::vector<std::string> requests_;
    std::list<Poco::Net::StreamSocket> clients_;
    std::list<std::thread> threads_;
    std::thread acceptor_;
};

}  // namespace tavik::testing
