#include "tests/support/FeedServer.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>

#include "tests/support/Process.h"

namespace tavik::testing {
namespace {

using Fault = ServerAnswer::Fault;

/// Blocks until the other side, or stop(), hangs up.
void waitForHangUp(int descriptor) {
    pollfd peer{descriptor, POLLRDHUP, 0};
    ::poll(&peer, 1, -1);
}

std::string headOf(const ServerAnswer& answer, bool unchanged) {
    std::string head = "HTTP/1.1 " + std::to_string(unchanged ? 304 : answer.status) + " x\r\n";
    if (!answer.etag.empty())
        head += "ETag: " + answer.etag + "\r\n";
    for (const auto& line : answer.headers)
        head += line + "\r\n";
    if (answer.fault == Fault::endlessChunks)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!unchanged)
        head += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
    return head;
}

}  // namespace

Certificate::Certificate(const std::string& folder) : file(folder + "/server.pem") {
    const Result made =
        run({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
             "-nodes", "-days", "2", "-subj", "/CN=127.0.0.1", "-addext",
             "subjectAltName=IP:127.0.0.1", "-keyout", file, "-out", file});
    if (made.exitCode != 0)
        throw std::runtime_error("no certificate: " + made.err);
}

class FeedServer::Connection {
  public:
    Connection(int descriptor, SSL_CTX* tls) : descriptor_(descriptor) {
        if (tls == nullptr)
            return;
        ssl_ = SSL_new(tls);
        SSL_set_fd(ssl_, descriptor);
        SSL_accept(ssl_);
    }
    ~Connection() { SSL_free(ssl_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int descriptor() const { return descriptor_; }

    /// The next request up to its empty line; empty at the end.
    std::string readHead() {
        for (;;) {
            if (const auto end = received_.find("\r\n\r\n"); end != std::string::npos) {
                std::string head = received_.substr(0, end);
                received_.erase(0, end + 4);
                return head;
            }
            std::array<char, 4096> buffer{};
            const auto got = ssl_ == nullptr
                                 ? ::read(descriptor_, buffer.data(), buffer.size())
                                 : SSL_read(ssl_, buffer.data(), static_cast<int>(buffer.size()));
            if (got <= 0)
                return {};
            received_.append(buffer.data(), static_cast<std::size_t>(got));
        }
    }

    bool write(const std::string& bytes) {
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t left = bytes.size() - at;
            const auto sent = ssl_ == nullptr ? ::write(descriptor_, &bytes[at], left)
                                              : SSL_write(ssl_, &bytes[at], static_cast<int>(left));
            if (sent <= 0)
                return false;
            at += static_cast<std::size_t>(sent);
        }
        return true;
    }

  private:
    int descriptor_;
    SSL* ssl_ = nullptr;
    std::string received_;
};

FeedServer::FeedServer() {
    listen();
}

FeedServer::FeedServer(const Certificate& certificate)
    : tls_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
    SSL_CTX_use_certificate_file(tls_.get(), certificate.file.c_str(), SSL_FILETYPE_PEM);
    if (SSL_CTX_use_PrivateKey_file(tls_.get(), certificate.file.c_str(), SSL_FILETYPE_PEM) != 1)
        throw std::runtime_error("cannot use the certificate");
    listen();
}

void FeedServer::listen() {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof here;
    auto* generic = reinterpret_cast<sockaddr*>(&here);
    if (::bind(listener_, generic, size) != 0 || ::listen(listener_, SOMAXCONN) != 0 ||
        ::getsockname(listener_, generic, &size) != 0)
        throw std::runtime_error("no server on loopback");
    port_ = ntohs(here.sin_port);
    acceptor_ = std::thread([this] { acceptAll(); });
}

FeedServer::~FeedServer() {
    stop();
    ::close(listener_);
}

void FeedServer::stop() {
    stopped_ = true;
    ::shutdown(listener_, SHUT_RDWR);
    if (acceptor_.joinable())
        acceptor_.join();
    {
        const std::lock_guard lock(mutex_);
        for (const int descriptor : open_)
            ::shutdown(descriptor, SHUT_RDWR);
    }
    for (auto& thread : threads_)
        thread.join();
    threads_.clear();
}

void FeedServer::serve(const std::string& path, ServerAnswer answer) {
    const std::lock_guard lock(mutex_);
    answers_[path] = std::move(answer);
}

std::string FeedServer::address(const std::string& path) const {
    return (tls_ ? "https" : "http") + ("://127.0.0.1:" + std::to_string(port_)) + path;
}

std::vector<std::string> FeedServer::requests(const std::string& target) const {
    const std::lock_guard lock(mutex_);
    return requestsSoFar(target);
}

void FeedServer::waitForRequest(const std::string& target) {
    std::unique_lock lock(mutex_);
    if (!asked_.wait_for(lock, std::chrono::seconds(10),
                         [&] { return !requestsSoFar(target).empty(); }))
        throw std::runtime_error("nobody asked for " + target);
}

std::vector<std::string> FeedServer::requestsSoFar(const std::string& target) const {
    std::vector<std::string> found;
    for (const std::string& head : requests_)
        if (head.find(" " + target + "\n") != std::string::npos)
            found.push_back(head);
    return found;
}

void FeedServer::acceptAll() {
    for (;;) {
        const int descriptor = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor < 0 || stopped_) {
            ::close(descriptor);
            return;
        }
        // Head and body are written apart: without this the second would wait for an answer.
        const int on = 1;
        ::setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const std::lock_guard lock(mutex_);
        open_.push_back(descriptor);
        threads_.emplace_back([this, descriptor] { talk(descriptor); });
    }
}

void FeedServer::talk(int descriptor) {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    {
        Connection connection(descriptor, tls_.get());
        for (std::string head = connection.readHead(); !head.empty(); head = connection.readHead())
            if (!answer(connection, head))
                break;
    }
    const std::lock_guard lock(mutex_);
    open_.remove(descriptor);
    ::close(descriptor);
}

/// False where the connection is to be closed.
bool FeedServer::answer(Connection& connection, const std::string& head) {
    const std::string line = head.substr(0, head.find("\r\n"));
    const std::string request = line.substr(0, line.rfind(' '));
    ServerAnswer answer;
    answer.status = 404;
    {
        const std::lock_guard lock(mutex_);
        std::string kept = request + head.substr(line.size()) + "\n";
        kept.erase(std::remove(kept.begin(), kept.end(), '\r'), kept.end());
        requests_.push_back(kept);
        asked_.notify_all();
        const auto found = answers_.find(request.substr(request.find(' ') + 1));
        if (found != answers_.end())
            answer = found->second;
    }
    std::this_thread::sleep_for(answer.delay);
    if (!answer.etag.empty() && head.find("If-None-Match: " + answer.etag) != std::string::npos)
        return connection.write(headOf(answer, true) + "\r\n");
    return send(connection, answer);
}

bool FeedServer::send(Connection& connection, const ServerAnswer& answer) {
    if (answer.fault == Fault::stall) {
        waitForHangUp(connection.descriptor());
        return false;
    }
    if (!answer.body.empty())
        ++bodies_;
    const std::string head = headOf(answer, false);
    if (answer.fault == Fault::none)  // a status without a body ends with its head
        return connection.write(head + "\r\n" + (answer.status == 304 ? "" : answer.body));
    if (!connection.write(head))
        return false;
    const std::string half = "\r\n" + answer.body.substr(0, answer.body.size() / 2);
    std::ostringstream size;
    size << std::hex << answer.body.size() << "\r\n";
    switch (answer.fault) {
        case Fault::endlessHeaders:
            while (connection.write("X-More: " + std::string(100, 'x') + "\r\n")) {
            }
            return false;
        case Fault::stallInBody:
            connection.write(half);
            waitForHangUp(connection.descriptor());
            return false;
        case Fault::cutInBody:
            connection.write(half);
            return false;
        case Fault::endlessChunks:
            connection.write("\r\n");
            while (connection.write(size.str() + answer.body + "\r\n")) {
            }
            return false;
        default:
            return false;
    }
}

}  // namespace tavik::testing
