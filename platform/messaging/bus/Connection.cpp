#include "platform/messaging/bus/Connection.h"

#include <sys/socket.h>

#include <exception>
#include <utility>

namespace norva::zephal {
namespace {

// The wire form of a message.
constexpr const char* kPath = "/com/norva/zephal";
constexpr const char* kInterface = "com.norva.Zephal4";
constexpr const char* kMember = "Message";

/// The reply to an asynchronous call.
struct Reply {
    BusMessage message;

    static int keep(sd_bus_message* message, void* reply, sd_bus_error* /*error*/) noexcept {
        static_cast<Reply*>(reply)->message.reset(sd_bus_message_ref(message));
        return 0;
    }

    /// Throws where the bus has answered with an error.
    void check() const {
        if (sd_bus_message_is_method_error(message.get(), nullptr) > 0)
            checked(-sd_bus_message_get_errno(message.get()));
    }
};

}  // namespace

Connection::Connection(const char* address, Clock::time_point deadline) {
    sd_bus* bus = nullptr;
    checked(sd_bus_new(&bus));
    bus_.reset(bus);
    checked(sd_bus_set_address(bus, address));
    checked(sd_bus_set_bus_client(bus, 1));
    checked(sd_bus_negotiate_fds(bus, 0));
    checked(sd_bus_start(bus));
    waitUntil([bus] { return sd_bus_is_ready(bus) > 0; }, deadline);
    const char* name = nullptr;
    checked(sd_bus_get_unique_name(bus, &name));
    uniqueName_ = name;
}

void Connection::takeName(const std::string& name, Clock::time_point deadline) {
    const BusMessage request = daemonCall("RequestName");
    constexpr unsigned kNoFlags = 0;
    checked(sd_bus_message_append(request.get(), "su", name.c_str(), kNoFlags));
    call(request.get(), deadline);
}

std::vector<std::string> Connection::names(Clock::time_point deadline) {
    const BusMessage reply = call(daemonCall("ListNames").get(), deadline);
    checked(sd_bus_message_enter_container(reply.get(), 'a', "s"));
    std::vector<std::string> names;
    const char* name = nullptr;
    while (checked(sd_bus_message_read_basic(reply.get(), 's', &name)) > 0)
        names.emplace_back(name);
    return names;
}

BusMessage Connection::signal(const Envelope& envelope, const char* destination) const {
    sd_bus_message* message = nullptr;
    checked(sd_bus_message_new_signal(bus_.get(), &message, kPath, kInterface, kMember));
    BusMessage owned(message);
    const auto& payload = envelope.payload;
    if (sd_bus_message_append(message, "ss", envelope.type.c_str(), envelope.appId.c_str()) < 0 ||
        sd_bus_message_append_array(message, 'y', payload.data(), payload.size()) < 0)
        return nullptr;
    if (destination != nullptr && sd_bus_message_set_destination(message, destination) < 0)
        return nullptr;
    return owned;
}

void Connection::send(const std::vector<BusMessage>& messages, Clock::time_point deadline) {
    for (const BusMessage& message : messages)
        checked(sd_bus_send(bus_.get(), message.get(), nullptr));
    // A bus handles one connection's messages in order. Once it answers a call, it has passed on
    // everything that was sent before.
    call(daemonCall("GetId").get(), deadline);
}

void Connection::subscribe(Arrival arrival, Clock::time_point deadline) {
    arrival_ = std::move(arrival);
    // If the bus refuses a message, sd-bus closes the connection, and the call after it fails.
    checked(sd_bus_match_signal_async(bus_.get(), nullptr, nullptr, kPath, kInterface, kMember,
                                      onArrival, nullptr, this));
    call(daemonCall("GetId").get(), deadline);
}

bool Connection::step() {
    return checked(sd_bus_process(bus_.get(), nullptr)) > 0;
}

int Connection::descriptor() const {
    return checked(sd_bus_get_fd(bus_.get()));
}

short Connection::events() const {
    return static_cast<short>(checked(sd_bus_get_events(bus_.get())));
}

void Connection::shutDown() noexcept {
    const int descriptor = sd_bus_get_fd(bus_.get());
    if (descriptor >= 0)
        shutdown(descriptor, SHUT_RDWR);
}

/// A call to the bus itself, without arguments yet.
BusMessage Connection::daemonCall(const char* method) const {
    sd_bus_message* request = nullptr;
    checked(sd_bus_message_new_method_call(bus_.get(), &request, "org.freedesktop.DBus",
                                           "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                           method));
    return BusMessage(request);
}

BusMessage Connection::call(sd_bus_message* request, Clock::time_point deadline) {
    Reply reply;
    sd_bus_slot* slot = nullptr;
    // Without a time limit of sd-bus: the deadline is ours, and releasing the slot cancels the
    // call.
    checked(sd_bus_call_async(bus_.get(), &slot, request, &Reply::keep, &reply, UINT64_MAX));
    const BusSlot owned(slot);
    waitUntil([&reply] { return reply.message != nullptr; }, deadline);
    reply.check();
    return std::move(reply.message);
}

template <typename Done>
void Connection::waitUntil(Done done, Clock::time_point deadline) {
    using std::chrono::microseconds;
    while (!done()) {
        const auto left = std::chrono::duration_cast<microseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            throw std::system_error(std::make_error_code(std::errc::timed_out));
        if (step())
            continue;
        const int result = sd_bus_wait(bus_.get(), static_cast<uint64_t>(left.count()));
        if (result != -EINTR)
            checked(result);
    }
}

void Connection::arrived(sd_bus_message* message) {
    const char* sender = sd_bus_message_get_sender(message);
    if (sender == nullptr || sender == uniqueName_)
        return;
    Envelope envelope;
    const char* type = nullptr;
    const char* appId = nullptr;
    const void* payload = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_has_signature(message, "ssay") <= 0 ||
        sd_bus_message_read(message, "ss", &type, &appId) < 0 ||
        sd_bus_message_read_array(message, 'y', &payload, &size) < 0)
        return;
    const bool addressed = sd_bus_message_get_destination(message) != nullptr;
    arrival_({type, appId, std::string(static_cast<const char*>(payload), size)},
             addressed ? Audience::kThisEndPoint : Audience::kAll);
}

int Connection::onArrival(sd_bus_message* message, void* connection, sd_bus_error*) noexcept {
    try {
        static_cast<Connection*>(connection)->arrived(message);
    } catch (const std::exception&) {
        // There is no memory for this message: it is lost, and the connection goes on.
    }
    return 0;
}

}  // namespace norva::zephal
