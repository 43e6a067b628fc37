// The helper against stand-ins that count calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "reporting/MessageHelper.h"

namespace {

using namespace norva::zephal::api;
using namespace std::string_view_literals;
using sample::zephal::helper::MessageHelper;

void copyBytes(std::string_view bytes, char* buffer) {
    std::copy(bytes.begin(), bytes.end(), buffer);
}

/// A text of a stand-in: the bytes that its size counts and its copy writes.
#define TEXT(name, bytes)                            \
    unsigned long Get##name##Size() const override { \
        return (bytes).size();                       \
    }                                                \
    void Get##name(char* buffer) const override {    \
        copyBytes(bytes, buffer);                    \
    }

template <typename Message>
struct Sent : Message {
    using Message::Message;
    TEXT(Type, "type\0rest"sv)
    TEXT(AppId, "app\0"sv)
};
struct AppPath final : Sent<GetAppPathMessage> {
    TEXT(Result, "/opt/a\0"sv)
    TEXT(TargetSpecifier, "a-1\0x"sv)
};
struct LaunchApp final : Sent<LaunchAppMessage> {
    TEXT(CmdLine, "--x\0"sv)
    TEXT(TargetSpecifier, "b\0"sv)
};
struct Trouble final : Sent<ErrorMessage> {
    TEXT(Error, "error\0"sv)
    TEXT(Fault, "\0"sv)
};

TEST(MessageHelper, ReadsEachTextUpToItsFirstNul) {
    EXPECT_EQ(MessageHelper::GetType(AppPath()), "type");
    EXPECT_EQ(MessageHelper::GetAppId(AppPath()), "app");
    EXPECT_EQ(MessageHelper::GetResult(AppPath()), "/opt/a");
    EXPECT_EQ(MessageHelper::GetTargetSpecifier(AppPath()), "a-1");
    EXPECT_EQ(MessageHelper::GetCmdLine(LaunchApp()), "--x");
    EXPECT_EQ(MessageHelper::GetTargetSpecifier(LaunchApp()), "b");
    EXPECT_EQ(MessageHelper::GetError(Trouble()), "error");
    EXPECT_EQ(MessageHelper::GetFault(Trouble()), "");
    EXPECT_EQ(MessageHelper::GetAppId(EndPoint("Norva.Tavik", "7")), "Norva.Tavik");
    EXPECT_EQ(MessageHelper::GetId(EndPoint("Norva.Tavik", "7")), "7");
}

struct Host final : Sent<HostMessage> {
    explicit Host(std::string_view payload) : bytes(payload) {}
    std::string_view bytes;
    TEXT(Payload, bytes)
};

// Those of suite messages arrive in the dispatchers' tests.
TEST(MessageHelper, KeepsNulsWithinPayloads) {
    EXPECT_EQ(MessageHelper::GetPayload(Host(""sv)), "");
    EXPECT_EQ(MessageHelper::GetPayload(Host("a\0"sv)), "a");
    EXPECT_EQ(MessageHelper::GetPayload(Host("a\0b\0"sv)), "a\0b"sv);
}

struct Specifiers final : Sent<GetTargetSpecifiersMessage> {
    std::vector<std::string_view> results{"z\0"sv, "\0"sv, "a-1.0\0"sv};
    unsigned long GetResultCount() const override { return results.size(); }
    unsigned long GetResultSize(unsigned long i) const override { return results[i].size(); }
    void GetResult(unsigned long i, char* buffer) const override { copyBytes(results[i], buffer); }
};

TEST(MessageHelper, ReadsTargetSpecifiersInOrder) {
    const std::vector<std::string> expected{"z", "", "a-1.0"};
    EXPECT_EQ(MessageHelper::GetResult(Specifiers()), expected);
}

/// Tells these counts one after the other, the last one from then on.
struct Destinations final : SuiteMessage {
    explicit Destinations(std::vector<unsigned long> told)
        : SuiteMessage("t"), counts(std::move(told)) {}
    std::vector<unsigned long> counts;
    mutable std::size_t asked = 0;
    mutable int filled = 0;
    unsigned long GetDestinationCount() const override {
        return counts[std::min(asked++, counts.size() - 1)];
    }
    void GetDestinations(EndPoint* endPoints) const override {
        ++filled;
        for (unsigned long i = 0; i < counts[0]; ++i)
            endPoints[i] = EndPoint("app", std::to_string(i).c_str());
    }
};

TEST(MessageHelper, CountsDestinationsAnewBeforeEachOfThem) {
    const struct {
        const char* name;
        std::vector<unsigned long> counts;
        const char* ids;
    } rows[] = {{"none", {0}, ""},
                {"constant", {2}, "01"},
                {"shrinks", {3, 3, 1}, "0"},
                {"grows", {1, 9}, "0"}};
    for (const auto& row : rows) {
        const Destinations message(row.counts);
        std::string ids;
        for (const auto& endPoint : MessageHelper::GetDestinations(message))
            ids += MessageHelper::GetId(endPoint);
        EXPECT_EQ(ids, row.ids) << row.name;
        EXPECT_EQ(message.filled, 1) << row.name;
    }
}

/// Answers each kind of query with one end point that names it, or with none, and logs the fills.
struct Dispatcher final : IZephalMessageDispatcher {
    explicit Dispatcher(unsigned long found) : count(found) {}
    unsigned long count;
    mutable std::string fills;
    void give(const std::string& query, EndPoint* endPoints) const {
        fills += query + ";";
        *endPoints = EndPoint(query.c_str(), "1");
    }
    bool Send(ZephalMessage&) override { return true; }
    bool Listen() override { return true; }
    unsigned long GetEndPointCount() const override { return count; }
    unsigned long GetEndPointCountByAppId(const char*) const override { return count; }
    unsigned long GetEndPointCountBySpecifier(const char*) const override { return count; }
    void GetEndPoints(EndPoint* endPoints) const override { give("all", endPoints); }
    void GetEndPointsByAppId(const char* appId, EndPoint* endPoints) const override {
        give(std::string("id ") + appId, endPoints);
    }
    void GetEndPointsBySpecifier(const char* specifier, EndPoint* endPoints) const override {
        give(std::string("specifier ") + specifier, endPoints);
    }
};

TEST(MessageHelper, AsksForEndPointsByTheirQueryAndNotForNone) {
    for (const unsigned long count : {0UL, 1UL}) {
        const Dispatcher dispatcher(count);
        EXPECT_EQ(MessageHelper::GetEndPoints(&dispatcher).size(), count);
        EXPECT_EQ(MessageHelper::GetEndPointsByAppId(&dispatcher, "a").size(), count);
        EXPECT_EQ(MessageHelper::GetEndPointsBySpecifier(&dispatcher, "s").size(), count);
        EXPECT_EQ(dispatcher.fills, count == 0 ? "" : "all;id a;specifier s;");
    }
}

}  // namespace
