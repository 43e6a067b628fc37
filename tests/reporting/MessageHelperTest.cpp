// The helper against stand-ins that count calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "reporting/MessageHelper.h"

namespace {

using namespace norva::zephal::api;
using sample::zephal::helper::MessageHelper;

unsigned long copyBytes(std::string_view bytes, char* buffer) {
    std::copy(bytes.begin(), bytes.end(), buffer);
    return bytes.size();
}

/// A text of a stand-in: the bytes that its size counts and its copy writes.
#define TEXT(name, bytes)                            \
    unsigned long Get##name##Size() const override { \
        return std::string_view bytes.size();        \
    }                                                \
    void Get##name(char* buffer) const override {    \
        copyBytes(std::string_view bytes, buffer);   \
    }

/// Makes a stand-in's type and sender.
template <typename Message>
struct Sent : Message {
    using Message::Message;
    TEXT(Type, ("type\0rest", 10))
    TEXT(AppId, ("app\0", 4))
};

struct AppPath final : Sent<GetAppPathMessage> {
    TEXT(Result, ("/opt/a\0", 7))
    TEXT(TargetSpecifier, ("a-1\0x", 6))
};

struct LaunchApp final : Sent<LaunchAppMessage> {
    TEXT(CmdLine, ("--x\0", 4))
    TEXT(TargetSpecifier, ("b\0", 2))
};

struct IsAppRunning final : Sent<IsAppRunningMessage> {
    TEXT(TargetSpecifier, ("c\0", 2))
};

struct IsAppInstalled final : Sent<IsAppInstalledMessage> {
    TEXT(TargetSpecifier, ("d\0", 2))
};

struct Trouble final : Sent<ErrorMessage> {
    TEXT(Error, ("error\0", 6))
    TEXT(Fault, ("\0", 1))
};

TEST(MessageHelper, ReadsEachTextUpToItsFirstNul) {
    const AppPath appPath;
    const LaunchApp launchApp;
    const Trouble trouble;
    EXPECT_EQ(MessageHelper::GetType(appPath), "type");
    EXPECT_EQ(MessageHelper::GetAppId(appPath), "app");
    EXPECT_EQ(MessageHelper::GetResult(appPath), "/opt/a");
    EXPECT_EQ(MessageHelper::GetTargetSpecifier(appPath), "a-1");
    EXPECT_EQ(MessageHelper::GetCmdLine(launchApp), "--x");
    EXPECT_EQ(MessageHelper::GetTargetSpecifier(launchApp), "b");
    EXPECT_EQ(MessageHelper::GetTargetSpecifier(IsAppRunning()), "c");
    EXPECT_EQ(MessageHelper::GetTargetSpecifier(IsAppInstalled()), "d");
    EXPECT_EQ(MessageHelper::GetError(trouble), "error");
    EXPECT_EQ(MessageHelper::GetFault(trouble), "");
    EXPECT_EQ(MessageHelper::GetAppId(EndPoint("Norva.Tavik", "7")), "Norva.Tavik");
    EXPECT_EQ(MessageHelper::GetId(EndPoint("Norva.Tavik", "7")), "7");
}

template <typename Message>
struct WithPayload final : Sent<Message> {
    using Sent<Message>::Sent;
    std::string_view bytes;
    mutable int copies = 0;
    unsigned long GetPayloadSize() const override { return bytes.size(); }
    void GetPayload(char* buffer) const override {
        ++copies;
        copyBytes(bytes, buffer);
    }
};

template <typename Message>
void expectPayloadRule(WithPayload<Message>&& message) {
    for (const std::string_view small : {std::string_view("", 0), std::string_view("\0", 1)}) {
        message.bytes = small;
        EXPECT_EQ(MessageHelper::GetPayload(message), "");
        EXPECT_EQ(message.copies, 0) << small.size();
    }
    message.bytes = {"a\0b", 4};
    EXPECT_EQ(MessageHelper::GetPayload(message), std::string("a\0b", 3));
}

TEST(MessageHelper, KeepsNulsWithinPayloads) {
    expectPayloadRule(WithPayload<HostMessage>());
    expectPayloadRule(WithPayload<SuiteMessage>("type"));
}

struct Specifiers final : Sent<GetTargetSpecifiersMessage> {
    std::vector<std::string> results;
    unsigned long GetResultCount() const override { return results.size(); }
    unsigned long GetResultSize(unsigned long index) const override {
        return results.at(index).size() + 1;
    }
    void GetResult(unsigned long index, char* buffer) const override {
        copyBytes({results.at(index).c_str(), results.at(index).size() + 1}, buffer);
    }
};

TEST(MessageHelper, ReadsTargetSpecifiersInOrder) {
    Specifiers message;
    EXPECT_TRUE(MessageHelper::GetResult(message).empty());
    message.results = {"z", "", "a-1.0"};
    EXPECT_EQ(MessageHelper::GetResult(message), message.results);
}

/// Tells these counts one after the other, the last one from then on.
struct Destinations final : SuiteMessage {
    explicit Destinations(std::vector<unsigned long> told) : SuiteMessage("t"), counts(told) {}
    std::vector<unsigned long> counts;
    mutable std::size_t asked = 0;
    mutable int fills = 0;
    unsigned long GetDestinationCount() const override {
        return counts[std::min(asked++, counts.size() - 1)];
    }
    void GetDestinations(EndPoint* endPoints) const override {
        ++fills;
        for (unsigned long i = 0; i < counts[0]; ++i)
            endPoints[i] = EndPoint("app", std::to_string(i).c_str());
    }
};

TEST(MessageHelper, CountsDestinationsAnewBeforeEachOfThem) {
    const struct {
        const char* name;
        std::vector<unsigned long> counts;
        std::size_t length;
        std::size_t asked;
    } rows[] = {
        {"none", {0}, 0, 2},
        {"constant", {2}, 2, 4},
        {"shrinks after the first", {3, 3, 1}, 1, 3},
        {"gone at once", {3, 0}, 0, 2},
        {"grows", {1, 9}, 1, 3},
    };
    for (const auto& row : rows) {
        const Destinations message(row.counts);
        const auto destinations = MessageHelper::GetDestinations(message);
        EXPECT_EQ(destinations.size(), row.length) << row.name;
        EXPECT_EQ(message.asked, row.asked) << row.name;
        EXPECT_EQ(message.fills, 1) << row.name;
        for (std::size_t i = 0; i < destinations.size(); ++i)
            EXPECT_EQ(MessageHelper::GetId(destinations[i]), std::to_string(i)) << row.name;
    }
}

/// Has as many endpoints as its first text is long, and names them by the text.
struct Directory final : IZephalMessageDispatcher {
    mutable int fills = 0;
    static void fill(const std::string& key, EndPoint* endPoints) {
        for (std::size_t i = 0; i < key.size(); ++i)
            endPoints[i] = EndPoint(key.c_str(), key.substr(i, 1).c_str());
    }
    bool Send(ZephalMessage&) override { return false; }
    bool Listen() override { return false; }
    unsigned long GetEndPointCount() const override { return 3; }
    void GetEndPoints(EndPoint* endPoints) const override { fill("all", endPoints); }
    unsigned long GetEndPointCountByAppId(const char* appId) const override {
        return std::string(appId).size();
    }
    void GetEndPointsByAppId(const char* appId, EndPoint* endPoints) const override {
        ++fills;
        fill(appId, endPoints);
    }
    unsigned long GetEndPointCountBySpecifier(const char* specifier) const override {
        return std::string(specifier).size();
    }
    void GetEndPointsBySpecifier(const char* specifier, EndPoint* endPoints) const override {
        ++fills;
        fill(specifier, endPoints);
    }
};

std::string joined(const std::vector<EndPoint>& endPoints) {
    std::string all;
    for (const auto& endPoint : endPoints)
        all += MessageHelper::GetAppId(endPoint) + "/" + MessageHelper::GetId(endPoint) + " ";
    return all;
}

TEST(MessageHelper, AsksTheDispatcherAndFillsOnlyWhatThereIs) {
    const Directory directory;
    EXPECT_EQ(joined(MessageHelper::GetEndPoints(&directory)), "all/a all/l all/l ");
    EXPECT_EQ(joined(MessageHelper::GetEndPointsByAppId(&directory, "zy")), "zy/z zy/y ");
    EXPECT_EQ(joined(MessageHelper::GetEndPointsBySpecifier(&directory, "ba")), "ba/b ba/a ");
    EXPECT_EQ(directory.fills, 2);
    EXPECT_TRUE(MessageHelper::GetEndPointsByAppId(&directory, "").empty());
    EXPECT_TRUE(MessageHelper::GetEndPointsBySpecifier(&directory, "").empty());
    EXPECT_EQ(directory.fills, 2);
}

}  // namespace
