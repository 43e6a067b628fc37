#pragma once

#include <ZephalMessage4.h>

#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "platform/messaging/bus/Connection.h"
#include "platform/messaging/bus/EndPointName.h"
#include "platform/support/FileDescriptor.h"

namespace norva::zephal {

/// The longest that a call waits for the bus. Connecting and the first call share it, so that a
/// process that sends one message waits no longer than this in total.
constexpr std::chrono::seconds kWaitLimit{2};

/// A dispatcher on D-Bus: one connection for sending, queries and listening, guarded by a lock.
class BusDispatcher final : public api::IZephalMessageDispatcher {
  public:
    /// Throws std::system_error where the bus refuses or does not answer in time.
    BusDispatcher(const char* address, std::string appId, api::IZephalMessageListener* toAll,
                  api::IZephalMessageListener* toThis);
    ~BusDispatcher() override;

    bool Send(api::ZephalMessage& message) override;
    unsigned long GetEndPointCount() const override;
    void GetEndPoints(api::EndPoint* endPoints) const override;
    unsigned long GetEndPointCountByAppId(const char* appId) const override;
    void GetEndPointsByAppId(const char* appId, api::EndPoint* endPoints) const override;
    unsigned long GetEndPointCountBySpecifier(const char* specifier) const override;
    void GetEndPointsBySpecifier(const char* specifier, api::EndPoint* endPoints) const override;
    bool Listen() override;

  private:
    using Work = std::function<bool(Clock::time_point deadline)>;

    bool onBus(const Work& work) const;
    unsigned long count(const std::function<bool(const std::string& appId)>& wanted) const;
    void giveUp() const;
    void wakeThread() const;
    void hear();
    bool hearOnce();
    void deliver(Envelope envelope, Audience audience) noexcept;

    const std::string appId_;
    api::IZephalMessageListener* const toAll_;
    api::IZephalMessageListener* const toThis_;
    const Clock::time_point created_ = Clock::now();

    // Guarded by lock_. Mutable because queries, which are const, use the connection.
    mutable std::mutex lock_;
    mutable Connection connection_;
    mutable Clock::duration patience_;
    mutable bool givenUp_ = false;
    std::deque<std::pair<Envelope, Audience>> arrived_;
    bool stopping_ = false;

    tavik::FileDescriptor wake_;
    std::thread thread_;
};

}  // namespace norva::zephal
