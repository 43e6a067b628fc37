#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "platform/messaging/bus/SdBus.h"

namespace norva::zephal {

using Clock = std::chrono::steady_clock;

/// A message as it travels: type and sender's application id in UTF-8, the payload any bytes.
struct Envelope {
    std::string type;
    std::string appId;
    std::string payload;
};

/// Who a message that arrived was meant for.
enum class Audience { kAll, kThisEndPoint };

/// A connection to a bus. No call waits past its deadline. Every failure, a missed deadline
/// included, is a std::system_error. Used from one thread at a time.
class Connection {
  public:
    /// Called while the connection is being used; throws nothing.
    using Arrival = std::function<void(Envelope, Audience)>;

    /// Connected, authenticated and named by the bus.
    Connection(const char* address, Clock::time_point deadline);

    /// The name that the bus gave to this connection, e.g. ":1.42"; no other ever gets it.
    const std::string& uniqueName() const { return uniqueName_; }

    /// Takes a name of its own choice on the bus.
    void takeName(const std::string& name, Clock::time_point deadline);

    /// All names on the bus.
    std::vector<std::string> names(Clock::time_point deadline);

    /// The message for one connection, given by its unique name, or for all if that is null.
    /// Returns null if the bus would refuse it: a text that is not UTF-8, a payload of 64 MiB, a
    /// destination that is no bus name.
    BusMessage signal(const Envelope& envelope, const char* destination) const;

    /// Sends, and returns once the bus has passed everything on.
    void send(const std::vector<BusMessage>& messages, Clock::time_point deadline);

    /// Reports messages to all and to this connection from now on, except its own.
    void subscribe(Arrival arrival, Clock::time_point deadline);

    /// Takes one step that needs no waiting; false where there was none to take.
    bool step();

    /// What to poll for before the next step.
    int descriptor() const;
    short events() const;

    /// Shuts the socket down. Whoever polls the descriptor wakes up.
    void shutDown() noexcept;

  private:
    BusMessage daemonCall(const char* method) const;
    BusMessage call(sd_bus_message* request, Clock::time_point deadline);
    template <typename Done>
    void waitUntil(Done done, Clock::time_point deadline);
    void arrived(sd_bus_message* message);
    static int onArrival(sd_bus_message* message, void* connection, sd_bus_error*) noexcept;

    BusHandle bus_;
    std::string uniqueName_;
    Arrival arrival_;
};

}  // namespace norva::zephal
