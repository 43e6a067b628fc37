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
    EXPECT_EQ(MessageHelper::GetPayload(Host("\0"sv)), "");
    EXPECT_EQ(MessageHelper::GetPayload(Host("a\0b\0"sv)), "a\0b"sv);
}

struct Specifiers final : Sent<GetTargetSpecifiersMessage> {
    std::vector<std::string> results;
    unsigned long GetResultCount() const override { return results.size(); }
    unsigned long GetResultSize(unsigned long i) const override { return results[i].size() + 1; }
    void GetResult(unsigned long i, char* buffer) const override {
        copyBytes({results[i].c_str(), results[i].size() + 1}, buffer);
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
    explicit Destinations(std::vector<unsigned long> told)
        : SuiteMessage("t"), counts(std::move(told)) {}
    std::vector<unsigned long> counts;
    mutable std::size_t asked = 0;
    unsigned long GetDestinationCount() const override {
        return counts[std::min(asked++, counts.size() - 1)];
    }
    void GetDestinations(EndPoint* endPoints) const override {
        for (unsigned long i = 0; i < counts[0]; ++i)
            endPoints[i] = EndPoint("app", std::to_string(i).c_str());
    }
};

TEST(MessageHelper, CountsDestinationsAnewBeforeEachOfThem) {
    const struct {
        const char* name;
        std::vector<unsigned long> counts;
        std::size_t results;
        std::size_t asked;
    } rows[] = {
        {"none", {0}, 0, 2},
        {"constant", {2}, 2, 4},
        {"shrinks", {3, 3, 1}, 1, 3},
        {"grows", {1, 9}, 1, 3},
    };
    for (const auto& row : rows) {
        const Destinations message(row.counts);
        const auto results = MessageHelper::GetDestinations(message);
        ASSERT_EQ(results.size(), row.results) << row.name;
        for (std::size_t i = 0; i < results.size(); ++i)
            EXPECT_EQ(MessageHelper::GetId(results[i]), std::to_string(i)) << row.name;
        EXPECT_EQ(message.asked, row.asked) << row.name;
    }
}

}  // namespace
