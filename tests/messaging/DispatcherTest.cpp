// Dispatchers on a bus of the test's own.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

#include "reporting/MessageHelper.h"
#include "tests/messaging/PrivateBus.h"

namespace tavik::testing {
namespace {

using namespace norva::zephal::api;
using sample::zephal::helper::MessageHelper;
using Dispatcher = std::unique_ptr<IZephalMessageDispatcher>;

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

/// Keeps what it hears as "SENDER TYPE PAYLOAD"; with a dispatcher, it also answers.
class Ear final : public IZephalMessageListener {
  public:
    Dispatcher answering;

    void Receive(ZephalMessage& message) override {
        const auto& suite = dynamic_cast<SuiteMessage&>(message);
        const std::lock_guard lock(mutex_);
        heard_.push_back(MessageHelper::GetAppId(suite) + " " + MessageHelper::GetType(suite) +
                         " " + MessageHelper::GetPayload(suite));
        more_.notify_one();
        if (answering)
            send(answering, "answer");
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

std::string appIds(const std::vector<EndPoint>& endPoints) {
    std::string all;
    for (const auto& endPoint : endPoints)
        all += MessageHelper::GetAppId(endPoint) + ";";
    return all;
}

TEST(Dispatcher, FindsTheSessionBusOrLoadsNothing) {
    const auto clientLoaded = [] {
        return dlopen("libsystemd.so.0", RTLD_LAZY | RTLD_NOLOAD) != nullptr;
    };
    const bool before = clientLoaded();
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(dispatcher("A"), nullptr);
    EXPECT_EQ(clientLoaded(), before);

    const PrivateBus bus;
    const TemporaryFolder folder;
    const std::string program = folder / "started";
    const struct {
        std::string address;
        std::string runtimeFolder;
        bool found;
    } rows[] = {
        {"unset", "/nowhere", false},
        {"unset", bus.folder(), true},
        {"", bus.folder(), false},
        {"unixexec:path=/usr/bin/touch,argv1=" + program, "", false},
        {"unix:path=/nowhere/bus", bus.folder(), false},
        {"tcp:host=localhost,port=1;unix:path=/nowhere/bus;" + bus.address(), "", true},
    };
    for (const auto& row : rows) {
        setenv("DBUS_SESSION_BUS_ADDRESS", row.address.c_str(), 1);
        if (row.address == "unset")
            unsetenv("DBUS_SESSION_BUS_ADDRESS");
        setenv("XDG_RUNTIME_DIR", row.runtimeFolder.c_str(), 1);
        EXPECT_EQ(dispatcher("A") != nullptr, row.found) << row.address << row.runtimeFolder;
    }
    EXPECT_FALSE(std::filesystem::exists(program)) << "a program was started for an address";
}

TEST(Dispatcher, IsAnEndPointThatOthersFind) {
    const PrivateBus bus;
    std::vector<Dispatcher> all;
    for (const char* appId : {"Sketch_2-17.0", "sketch", "sketchbook", "sketch", "7 \xc3\xa9\"_2e"})
        all.push_back(dispatcher(appId));
    const auto found = MessageHelper::GetEndPoints(all[0].get());
    EXPECT_EQ(appIds(found), "7 \xc3\xa9\"_2e;Sketch_2-17.0;sketch;sketch;sketchbook;");
    EXPECT_NE(MessageHelper::GetId(found[2]), MessageHelper::GetId(found[3]));
    EXPECT_NE(dispatcher(std::string(70, '.').c_str()), nullptr);
    EXPECT_EQ(dispatcher(std::string(255, 'a').c_str()), nullptr);
    const auto* any = all[2].get();
    EXPECT_EQ(appIds(MessageHelper::GetEndPointsByAppId(any, "sketch")), "sketch;sketch;");
    const std::pair<const char*, const char*> rows[] = {{"SKETCH", "Sketch_2-17.0;sketch;sketch;"},
                                                        {"sketch_2", "Sketch_2-17.0;"},
                                                        {"sketch-17.0", ""},
                                                        {"", ""}};
    for (const auto& [specifier, expected] : rows)
        EXPECT_EQ(appIds(MessageHelper::GetEndPointsBySpecifier(any, specifier)), expected)
            << specifier;
}

TEST(Dispatcher, SendsToAllOrToItsDestinationsAlone) {
    const PrivateBus bus;
    Ear toAll;
    Ear toFirst;
    Ear other;
    const Dispatcher first = dispatcher("First", &toAll, &toFirst);
    const Dispatcher second = dispatcher("Second", &other, &other);
    ASSERT_TRUE(first->Listen() && first->Listen() && second->Listen());
    const Dispatcher sender = dispatcher("Sender", &other, &other);

    EXPECT_TRUE(send(sender, "alone", MessageHelper::GetEndPointsByAppId(sender.get(), "First")));
    EXPECT_FALSE(send(sender, "nobody", {EndPoint()}));
    EXPECT_TRUE(send(sender, "all"));
    EXPECT_TRUE(send(first, "not to itself"));
    EXPECT_TRUE(send(sender, "last"));
    EXPECT_EQ(toFirst.next(), "Sender test.type alone");
    EXPECT_EQ(toAll.next(), "Sender test.type all");
    EXPECT_EQ(toAll.next(), "Sender test.type last");
    EXPECT_EQ(other.next(), "Sender test.type all");
    EXPECT_EQ(other.next(), "First test.type not to itself");
}

TEST(Dispatcher, SendsAnyBytesFromAnyThreadAndNoTypeButUtf8) {
    struct WithNul final : SuiteMessage {
        using SuiteMessage::SuiteMessage;
        unsigned long GetPayloadSize() const override { return 4; }
        void GetPayload(char* buffer) const override { std::copy_n("\xff\0b", 4, buffer); }
    };
    const PrivateBus bus;
    Ear asked;
    Ear answered;
    asked.answering = dispatcher("Asked", &asked);
    const Dispatcher asker = dispatcher("Asker", &answered);
    ASSERT_TRUE(asked.answering->Listen() && asker->Listen());
    WithNul bad("\xff");
    WithNul good("t");
    EXPECT_FALSE(asker->Send(bad));
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(asker->Send(good));
        ASSERT_EQ(asked.answering->GetEndPointCount(), 2U);
        ASSERT_EQ(asked.next(), std::string("Asker t \xff\0b", 11));
        ASSERT_EQ(answered.next(), "Asked test.type answer");
    }
    asked.answering.reset();
}

TEST(Dispatcher, IsGivenUpOnceTheBusIsDeadOrDoesNotAnswer) {
    for (const auto end : {&PrivateBus::kill, &PrivateBus::freeze}) {
        PrivateBus bus;
        Ear ear;
        const Dispatcher sender = dispatcher("Sender");
        const Dispatcher hearing = dispatcher("Hearing", &ear, &ear);
        ASSERT_TRUE(hearing->Listen() && send(sender, "x"));
        (bus.*end)();
        // The client library's own limit, 25 seconds each, would outlast that of the test.
        for (int i = 0; i < 10; ++i)
            EXPECT_FALSE(send(sender, "x"));
        EXPECT_EQ(hearing->GetEndPointCount(), 0U);
        EXPECT_FALSE(hearing->Listen());
    }
}

}  // namespace
}  // namespace tavik::testing
