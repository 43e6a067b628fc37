// Dispatchers on a bus of the test's own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <memory>
#include <mutex>

#include "reporting/MessageHelper.h"
#include "tests/messaging/PrivateBus.h"

namespace tavik::testing {
namespace {

using norva::zephal::api::EndPoint;
using norva::zephal::api::IZephalMessageDispatcher;
using norva::zephal::api::IZephalMessageListener;
using norva::zephal::api::SuiteMessage;
using norva::zephal::api::ZephalMessage;
using sample::zephal::helper::MessageHelper;

using Dispatcher = std::unique_ptr<IZephalMessageDispatcher>;

/// Keeps what it hears as "SENDER TYPE PAYLOAD".
class Ear final : public IZephalMessageListener {
  public:
    void Receive(ZephalMessage& message) override {
        const auto& suite = dynamic_cast<SuiteMessage&>(message);
        const std::lock_guard lock(mutex_);
        heard_.push_back(MessageHelper::GetAppId(suite) + " " + MessageHelper::GetType(suite) +
                         " " + MessageHelper::GetPayload(suite));
        more_.notify_one();
    }

    /// The next one, waited for; "" where none comes.
    std::string next() {
        std::unique_lock lock(mutex_);
        if (!more_.wait_for(lock, std::chrono::seconds(20), [this] { return !heard_.empty(); }))
            return "";
        std::string first = heard_.front();
        heard_.pop_front();
        return first;
    }

  private:
    std::mutex mutex_;
    std::condition_variable more_;
    std::deque<std::string> heard_;
};

Dispatcher dispatcher(const char* appId, IZephalMessageListener* toAll = nullptr,
                      IZephalMessageListener* toThis = nullptr) {
    return Dispatcher(IZephalMessageDispatcher::Create(appId, toAll, toThis));
}

bool send(const Dispatcher& from, const char* payload, const std::vector<EndPoint>& to = {}) {
    SuiteMessage message("test.type");
    message.SetPayload(payload);
    for (const auto& endPoint : to)
        message.AddDestination(endPoint);
    return from->Send(message);
}

std::string appIds(const std::vector<EndPoint>& endPoints) {
    std::string all;
    for (const auto& endPoint : endPoints)
        all += MessageHelper::GetAppId(endPoint) + ";";
    return all;
}

std::ptrdiff_t threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

TEST(Dispatcher, FindsTheSessionBus) {
    const PrivateBus bus;
    const struct {
        const char* address;
        std::string runtimeFolder;
        bool found;
    } rows[] = {
        {"", "", false},
        {"", "/nowhere", false},
        {"", bus.folder(), true},
        {"autolaunch:", bus.folder(), false},
        {"tcp:host=localhost,port=1", "", false},
        {"unixexec:path=/bin/true", "", false},
        {"unix:path=/nowhere/bus", bus.folder(), false},
        {"nonsense", "", false},
    };
    for (const auto& row : rows) {
        setenv("DBUS_SESSION_BUS_ADDRESS", row.address, 1);
        setenv("XDG_RUNTIME_DIR", row.runtimeFolder.c_str(), 1);
        EXPECT_EQ(dispatcher("A") != nullptr, row.found) << row.address << row.runtimeFolder;
    }
    const std::string several = "tcp:host=localhost,port=1;unix:path=/nowhere/bus;" + bus.address();
    setenv("DBUS_SESSION_BUS_ADDRESS", several.c_str(), 1);
    EXPECT_NE(dispatcher("A"), nullptr);
}

TEST(Dispatcher, LoadsNoBusClientWithoutABus) {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(dispatcher("A"), nullptr);
    EXPECT_EQ(dlopen("libsystemd.so.0", RTLD_LAZY | RTLD_NOLOAD), nullptr);
}

TEST(Dispatcher, IsAnEndPointThatOthersFind) {
    const PrivateBus bus;
    const Dispatcher one = dispatcher("Sketch_2-17.0");
    const Dispatcher two = dispatcher("sketch");
    const Dispatcher three = dispatcher("sketchbook");
    const Dispatcher same = dispatcher("sketch");
    const Dispatcher odd = dispatcher("7 \xc3\xa9.\"_2e");
    const auto all = MessageHelper::GetEndPoints(one.get());
    EXPECT_EQ(appIds(all), "7 \xc3\xa9.\"_2e;Sketch_2-17.0;sketch;sketch;sketchbook;");
    EXPECT_NE(MessageHelper::GetId(all[2]), MessageHelper::GetId(all[3]));
    EXPECT_EQ(appIds(MessageHelper::GetEndPointsByAppId(two.get(), "sketch")), "sketch;sketch;");
    EXPECT_EQ(appIds(MessageHelper::GetEndPointsByAppId(two.get(), "Sketch")), "");

    const auto find = [&](const char* specifier) {
        return appIds(MessageHelper::GetEndPointsBySpecifier(three.get(), specifier));
    };
    EXPECT_EQ(find("SKETCH"), "Sketch_2-17.0;sketch;sketch;");
    EXPECT_EQ(find("sketch_2"), "Sketch_2-17.0;");
    EXPECT_EQ(find("sketch-17.0"), "");
    EXPECT_EQ(find(""), "");
}

TEST(Dispatcher, SendsToAllOrToItsDestinationsAlone) {
    const PrivateBus bus;
    Ear toAll;
    Ear toOne;
    Ear other;
    const Dispatcher first = dispatcher("First", &toAll, &toOne);
    const Dispatcher second = dispatcher("Second", &other, &other);
    ASSERT_TRUE(first->Listen() && first->Listen() && second->Listen());
    const Dispatcher sender = dispatcher("Sender", &other, &other);

    EXPECT_TRUE(send(sender, "alone", MessageHelper::GetEndPointsByAppId(sender.get(), "First")));
    EXPECT_FALSE(send(sender, "nobody", {EndPoint("First", "")}));
    EXPECT_TRUE(send(sender, "all"));
    EXPECT_TRUE(send(first, "not to itself"));
    EXPECT_TRUE(send(sender, "last"));
    EXPECT_EQ(toOne.next(), "Sender test.type alone");
    EXPECT_EQ(toAll.next(), "Sender test.type all");
    EXPECT_EQ(toAll.next(), "Sender test.type last");
    EXPECT_EQ(other.next(), "Sender test.type all");
    EXPECT_EQ(other.next(), "First test.type not to itself");
}

TEST(Dispatcher, CarriesAnyBytesAndRefusesATypeThatIsNotUtf8) {
    struct WithNul final : SuiteMessage {
        using SuiteMessage::SuiteMessage;
        unsigned long GetPayloadSize() const override { return 4; }
        void GetPayload(char* buffer) const override { std::copy_n("\xff\0b", 4, buffer); }
    };
    const PrivateBus bus;
    Ear ear;
    const Dispatcher hearing = dispatcher("Hearing", &ear);
    ASSERT_TRUE(hearing->Listen());
    const Dispatcher sender = dispatcher("Sender");
    WithNul bad("\xff");
    WithNul good("t");
    EXPECT_FALSE(sender->Send(bad));
    EXPECT_TRUE(sender->Send(good));
    EXPECT_EQ(ear.next(), std::string("Sender t \xff\0b", 12));
}

/// Answers each message to all with one of its own.
struct Echo final : IZephalMessageListener {
    Dispatcher own;
    void Receive(ZephalMessage& /*message*/) override { send(own, "echo"); }
};

TEST(Dispatcher, SendsFromWithinReceiveAndFromOtherThreadsAtOnce) {
    const PrivateBus bus;
    Ear ear;
    Echo echo;
    echo.own = dispatcher("Echo", &echo);
    const Dispatcher asker = dispatcher("Asker", &ear);
    ASSERT_TRUE(echo.own->Listen() && asker->Listen());
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(send(asker, "call"));
        ASSERT_NE(MessageHelper::GetEndPoints(echo.own.get()).size(), 0U);
        ASSERT_EQ(ear.next(), "Echo test.type echo");
    }
    echo.own.reset();
}

TEST(Dispatcher, StartsNoThreadToSend) {
    const PrivateBus bus;
    const auto before = threads();
    Ear ear;
    const Dispatcher sender = dispatcher("Sender", &ear, &ear);
    ASSERT_TRUE(send(sender, "x"));
    EXPECT_EQ(threads(), before);
    ASSERT_TRUE(sender->Listen());
    EXPECT_EQ(threads(), before + 1);
}

TEST(Dispatcher, IsGivenUpWhenTheBusDies) {
    PrivateBus bus;
    Ear ear;
    const Dispatcher sender = dispatcher("Sender");
    const Dispatcher hearing = dispatcher("Hearing", &ear, &ear);
    ASSERT_TRUE(hearing->Listen() && send(sender, "x"));
    bus.kill();
    for (const Dispatcher* each : {&sender, &hearing}) {
        EXPECT_FALSE(send(*each, "x"));
        EXPECT_FALSE((*each)->Listen());
        EXPECT_EQ((*each)->GetEndPointCount(), 0U);
    }
}

TEST(Dispatcher, WaitsNoLongerThanPromisedForABusThatStopsAnswering) {
    const PrivateBus bus;
    const Dispatcher sender = dispatcher("Sender");
    ASSERT_TRUE(send(sender, "x"));
    bus.freeze();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i)
        EXPECT_FALSE(send(sender, "x"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

}  // namespace
}  // namespace tavik::testing
