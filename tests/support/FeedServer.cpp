#include "tests/support/FeedServer.h"

#include <Poco/Exception.h>
#include <Poco/Net/SecureServerSocket.h>
#include <Poco/Net/SocketStream.h>
#include <signal.h>
#include <sys/socket.h>

#include <filesystem>
#include <stdexcept>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

namespace net = Poco::Net;
using Fault = ServerAnswer::Fault;

const net::SocketAddress kAnyPort("127.0.0.1", 0);

/// Ends what another thread waits for on the socket, without a word of TLS in between.
void hangUp(const net::Socket& socket) {
    ::shutdown(socket.impl()->sockfd(), SHUT_RDWR);
}

net::SecureServerSocket secureListener(const Certificate& certificate) {
    const net::Context::Ptr context(new net::Context(net::Context::TLS_SERVER_USE, certificate.file,
                                                     certificate.file, "",
                                                     net::Context::VERIFY_NONE));
    return {kAnyPort, SOMAXCONN, context};
}

/// The request line without its version, and the header lines, each with "\n"; empty at the end.
std::string readHead(std::istream& client) {
    std::string head;
    std::string line;
    while (std::getline(client, line) && line != "\r")
        head += line.substr(0, head.empty() ? line.rfind(' ') : line.size() - 1) + "\n";
    return client ? head : "";
}

std::string headOf(const ServerAnswer& answer, int status) {
    std::string head = "HTTP/1.1 " + std::to_string(status) + " x\r\n";
    if (!answer.etag.empty())
        head += "ETag: " + answer.etag + "\r\n";
    for (const auto& line : answer.headers)
        head += line + "\r\n";
    if (answer.fault == Fault::endlessChunks)
        head += "Transfer-Encoding: chunked\r\n";
    else if (status != 304)
        head += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
    return head;
}

}  // namespace

Certificate::Certificate(const std::string& folder, Flaw flaw) : file(folder + "/server.pem") {
    std::filesystem::create_directories(folder);
    const std::string key = folder + "/key.pem";
    const std::string certificate = folder + "/certificate.pem";
    const std::string host = flaw == Flaw::ofAnotherHost ? "192.0.2.1" : "127.0.0.1";
    const auto openssl = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "openssl");
        const Result made = run(arguments);
        if (made.exitCode != 0)
            throw std::runtime_error("no certificate: " + made.err);
    };
    openssl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
             "-days", "2", "-subj", "/CN=" + host, "-addext", "subjectAltName=IP:" + host,
             "-keyout", key, "-out", certificate});
    if (flaw == Flaw::expired)
        openssl({"x509", "-in", certificate, "-signkey", key, "-days", "-1", "-out", certificate});
    writeFile(file, readFile(key) + readFile(certificate));
}

FeedServer::FeedServer() : FeedServer(net::ServerSocket(kAnyPort, SOMAXCONN), "http") {}

FeedServer::FeedServer(const Certificate& certificate)
    : FeedServer(secureListener(certificate), "https") {}

FeedServer::FeedServer(const net::ServerSocket& listener, std::string scheme)
    : listener_(listener), scheme_(std::move(scheme)), acceptor_([this] { acceptAll(); }) {}

void FeedServer::stop() {
    hangUp(listener_);
    if (acceptor_.joinable())
        acceptor_.join();
    {
        const std::lock_guard lock(mutex_);
        for (const auto& client : clients_)
            hangUp(client);
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
    return scheme_ + "://" + listener_.address().toString() + path;
}

std::vector<std::string> FeedServer::requests(const std::string& target) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> found;
    for (const std::string& head : requests_)
        if (head.find(" " + target + "\n") != std::string::npos)
            found.push_back(head);
    return found;
}

void FeedServer::waitForRequest(const std::string& target, std::size_t times) {
    std::unique_lock lock(mutex_);
    if (!asked_.wait_for(lock, std::chrono::seconds(10),
                         [&] { return requests(target).size() >= times; }))
        throw std::runtime_error("nobody asked for " + target);
}

void FeedServer::acceptAll() try {
    for (;;) {
        net::StreamSocket client = listener_.acceptConnection();
        client.setNoDelay(true);
        const std::lock_guard lock(mutex_);
        clients_.push_back(client);
        threads_.emplace_back([this, client] { talk(client); });
    }
} catch (const Poco::Exception&) {  // stop() was called
}

void FeedServer::talk(net::StreamSocket socket) {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    net::SocketStream client(socket);
    while (answerNext(client)) {
    }
    const std::lock_guard lock(mutex_);
    clients_.remove(socket);
    socket.close();
}

/// False where the connection is to be closed.
bool FeedServer::answerNext(std::iostream& client) {
    const std::string head = readHead(client);
    if (head.empty())
        return false;
    ServerAnswer answer;
    answer.status = 404;
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(head);
        asked_.notify_all();
        const std::size_t target = head.find(' ') + 1;
        const auto found = answers_.find(head.substr(target, head.find('\n') - target));
        if (found != answers_.end())
            answer = found->second;
    }
    std::this_thread::sleep_for(answer.delay);
    if (!answer.etag.empty() && head.find("If-None-Match: " + answer.etag) != std::string::npos)
        return !!(client << headOf(answer, 304) << "\r\n" << std::flush);
    return send(client, answer);
}

bool FeedServer::send(std::iostream& client, const ServerAnswer& answer) {
    if (answer.fault == Fault::stall) {
        client.peek();
        return false;
    }
    if (!answer.body.empty())
        ++bodies_;
    client << headOf(answer, answer.status) << std::hex;
    while (answer.fault == Fault::endlessHeaders && client << "X-More: and more\r\n") {
    }
    client << "\r\n";
    while (answer.fault == Fault::endlessChunks && client << answer.body.size() << "\r\n"
                                                          << answer.body << "\r\n") {
    }
    if (answer.fault == Fault::none)  // a status without a body ends with its head
        return !!(client << (answer.status == 304 ? "" : answer.body) << std::flush);
    client << answer.body.substr(0, answer.body.size() / 2) << std::flush;
    if (answer.fault == Fault::stallInBody)
        client.peek();
    return false;
}

}  // namespace tavik::testing
