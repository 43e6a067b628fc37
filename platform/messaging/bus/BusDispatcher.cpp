// How one connection serves the callers' threads and the listener:
//
// 1. A lock guards the connection. Each call takes it and has a deadline of two seconds. The first
//    call shares its two seconds with the connecting, so that a process that sends one message
//    never waits longer than that.
// 2. Listen() subscribes to messages and starts a thread that takes no signals. The thread takes
//    the lock to read one step from the connection, gives the lock back, and only then calls the
//    listener: a listener may send, which needs the lock.
// 3. While a call waits for its reply, messages may come in on its thread. They are queued, and the
//    call wakes the listening thread through an eventfd, since that thread is polling the socket
//    and would not notice bytes that are already read.
// 4. When the bus fails or misses a deadline, the connection is given up for good: later calls fail
//    at once instead of waiting two seconds each. It is shut down but not closed, because the
//    listening thread may still poll its descriptor; the shutdown wakes that thread, which delivers
//    what is queued and ends.
// 5. The destructor asks the thread to stop, wakes it and joins it.

#include "platform/messaging/bus/BusDispatcher.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <tuple>

#include "platform/messaging/bus/ReceivedMessage.h"
#include "platform/support/QuietThread.h"

namespace norva::zephal {
namespace {

/// The endpoints that this thread counted last, for the call that then copies them. Each thread has
/// its own: another thread's count must not change the size of what is copied into the caller's
/// array.
std::vector<api::EndPoint>& counted() {
    thread_local std::vector<api::EndPoint> endPoints;
    return endPoints;
}

/// A text that was copied into a buffer: it ends at its first NUL.
std::string upToNul(const std::string& buffer) {
    return buffer.substr(0, buffer.find('\0'));
}

std::string typeOf(const api::SuiteMessage& message) {
    std::string type(message.GetTypeSize(), '\0');
    message.GetType(type.data());
    return upToNul(type);
}

std::string payloadOf(const api::SuiteMessage& message) {
    std::string payload(message.GetPayloadSize(), '\0');
    message.GetPayload(payload.data());
    if (!payload.empty())
        payload.pop_back();
    return payload;
}

std::vector<std::string> destinationsOf(const api::SuiteMessage& message) {
    std::vector<api::EndPoint> endPoints(message.GetDestinationCount());
    message.GetDestinations(endPoints.data());
    std::vector<std::string> ids;
    for (const auto& endPoint : endPoints) {
        std::string id(endPoint.GetIdSize(), '\0');
        endPoint.GetId(id.data());
        ids.push_back(upToNul(id));
    }
    return ids;
}

}  // namespace

BusDispatcher::BusDispatcher(const char* address, std::string appId,
                             api::IZephalMessageListener* toAll,
                             api::IZephalMessageListener* toThis)
    : appId_(std::move(appId)),
      toAll_(toAll),
      toThis_(toThis),
      connection_(address, created_ + kWaitLimit) {
    connection_.takeName(endPointName({appId_, connection_.uniqueName()}), created_ + kWaitLimit);
    patience_ = created_ + kWaitLimit - Clock::now();
}

BusDispatcher::~BusDispatcher() {
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(lock_);
        stopping_ = true;
    }
    wakeThread();
    thread_.join();
}

bool BusDispatcher::Send(api::ZephalMessage& message) {
    const auto* suite = dynamic_cast<api::SuiteMessage*>(&message);
    if (suite == nullptr)
        return false;
    const Envelope envelope{typeOf(*suite), appId_, payloadOf(*suite)};
    const std::vector<std::string> destinations = destinationsOf(*suite);
    return onBus([&](Clock::time_point deadline) {
        std::vector<BusMessage> signals;
        if (destinations.empty())
            signals.push_back(connection_.signal(envelope, nullptr));
        for (const auto& destination : destinations)
            signals.push_back(connection_.signal(envelope, destination.c_str()));
        if (std::find(signals.begin(), signals.end(), nullptr) != signals.end())
            return false;
        connection_.send(signals, deadline);
        return true;
    });
}

unsigned long BusDispatcher::GetEndPointCount() const {
    return count([](const std::string&) { return true; });
}

void BusDispatcher::GetEndPoints(api::EndPoint* endPoints) const {
    std::copy(counted().begin(), counted().end(), endPoints);
}

unsigned long BusDispatcher::GetEndPointCountByAppId(const char* appId) const {
    const std::string wanted = appId == nullptr ? "" : appId;
    return count([&wanted](const std::string& candidate) { return candidate == wanted; });
}

void BusDispatcher::GetEndPointsByAppId(const char* /*appId*/, api::EndPoint* endPoints) const {
    GetEndPoints(endPoints);
}

unsigned long BusDispatcher::GetEndPointCountBySpecifier(const char* specifier) const {
    const std::string wanted = specifier == nullptr ? "" : specifier;
    return count(
        [&wanted](const std::string& candidate) { return matchesSpecifier(candidate, wanted); });
}

void BusDispatcher::GetEndPointsBySpecifier(const char* /*specifier*/,
                                            api::EndPoint* endPoints) const {
    GetEndPoints(endPoints);
}

bool BusDispatcher::Listen() {
    return onBus([this](Clock::time_point deadline) {
        if (thread_.joinable())
            return true;
        wake_ = tavik::FileDescriptor(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
        connection_.subscribe(
            [this](Envelope envelope, Audience audience) {
                arrived_.emplace_back(std::move(envelope), audience);
            },
            deadline);
        thread_ = tavik::startQuietThread([this] { hear(); });
        return true;
    });
}

/// Runs `work` on the connection, within the time limit of a call. Returns its answer; false if the
/// bus fails now or has failed before.
bool BusDispatcher::onBus(const Work& work) const {
    const std::lock_guard lock(lock_);
    if (givenUp_)
        return false;
    bool answer = false;
    try {
        answer = work(Clock::now() + std::exchange(patience_, kWaitLimit));
    } catch (const std::system_error&) {
        giveUp();
    }
    // Messages that came in meanwhile are delivered by the listening thread.
    if (!arrived_.empty())
        wakeThread();
    return answer;
}

unsigned long BusDispatcher::count(
    const std::function<bool(const std::string& appId)>& wanted) const {
    std::vector<EndPointIdentity> found;
    onBus([&](Clock::time_point deadline) {
        for (const auto& name : connection_.names(deadline)) {
            auto endPoint = endPointOf(name);
            if (endPoint && wanted(endPoint->appId))
                found.push_back(std::move(*endPoint));
        }
        return true;
    });
    std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
        return std::tie(a.appId, a.id) < std::tie(b.appId, b.id);
    });
    counted().clear();
    for (const auto& endPoint : found)
        counted().emplace_back(endPoint.appId.c_str(), endPoint.id.c_str());
    return counted().size();
}

/// Shuts the connection down without closing it: the listening thread may be polling its
/// descriptor. The shutdown wakes that thread, and the bus removes the endpoint.
void BusDispatcher::giveUp() const {
    givenUp_ = true;
    connection_.shutDown();
}

void BusDispatcher::wakeThread() const {
    if (wake_)
        eventfd_write(wake_.get(), 1);
}

void BusDispatcher::hear() {
    while (hearOnce()) {
    }
}

/// Delivers what has arrived, or waits until something may have arrived. False when the thread is
/// to end.
bool BusDispatcher::hearOnce() {
    decltype(arrived_) arrived;
    std::array<pollfd, 2> wakers{};
    {
        const std::lock_guard lock(lock_);
        bool stepped = false;
        try {
            stepped = !givenUp_ && connection_.step();
            wakers = {
                {{connection_.descriptor(), connection_.events(), 0}, {wake_.get(), POLLIN, 0}}};
        } catch (const std::system_error&) {
            giveUp();
        }
        arrived.swap(arrived_);
        if (stopping_ || (givenUp_ && arrived.empty()))
            return false;
        if (stepped && arrived.empty())
            return true;
    }
    for (auto& [envelope, audience] : arrived)
        deliver(std::move(envelope), audience);
    if (arrived.empty())
        poll(wakers.data(), wakers.size(), -1);
    eventfd_t ignored = 0;
    eventfd_read(wake_.get(), &ignored);
    return true;
}

void BusDispatcher::deliver(Envelope envelope, Audience audience) noexcept {
    api::IZephalMessageListener* listener = audience == Audience::kAll ? toAll_ : toThis_;
    if (listener == nullptr)
        return;
    try {
        ReceivedMessage message(std::move(envelope));
        listener->Receive(message);
    } catch (...) {
        // There is no caller to report to on this thread.
    }
}

}  // namespace norva::zephal
