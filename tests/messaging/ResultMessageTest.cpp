// The result messages as a hub sees them.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/messaging/PrivateBus.h"
#include "tests/support/Process.h"

namespace tavik::testing {
namespace {

struct Report {
    const char* name;
    std::vector<std::string> fields;
    const char* payload;
};

const std::vector<Report> kReports = {
    {"success",
     {"0", "Done.", "install", "Brushes", "1.4.0"},
     R"({"ReturnCode":0,"ReturnMsg":"Done.","Operation":"install","BundleId":"Brushes","Version":"1.4.0"})"},
    {"failure",
     {"-12", "No such file.", "install", "", ""},
     R"({"ReturnCode":-12,"ReturnMsg":"No such file.","Operation":"install","BundleId":"","Version":""})"},
    {"nothing is escaped",
     {"3", "a \"b\" \\\t", "uninstall", "\"", "\\"},
     "{\"ReturnCode\":3,\"ReturnMsg\":\"a \"b\" "
     "\\\t\",\"Operation\":\"uninstall\",\"BundleId\":\"\"\","
     "\"Version\":\"\\\"}"},
    {"bytes that are not UTF-8",
     {"-2147483648", "\xff\xc3", "uninstall", "\xed\xa0\x80", "\x80"},
     "{\"ReturnCode\":-2147483648,\"ReturnMsg\":\"\xff\xc3\",\"Operation\":\"uninstall\","
     "\"BundleId\":\"\xed\xa0\x80\",\"Version\":\"\x80\"}"},
};

std::vector<std::string> reporterCommand() {
    std::vector<std::string> command = {REPORTER};
    for (const auto& report : kReports)
        command.insert(command.end(), report.fields.begin(), report.fields.end());
    return command;
}

/// Ends well and says nothing, whatever the bus.
void expectSilence(const Environment& environment) {
    const Result result = Process(reporterCommand(), environment).wait(std::chrono::seconds(20));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out + result.err, "");
}

Environment busEnvironment() {
    return {{"DBUS_SESSION_BUS_ADDRESS", std::getenv("DBUS_SESSION_BUS_ADDRESS")}};
}

TEST(ResultMessage, ReachesASubscriberByteForByte) {
    const PrivateBus bus;
    LineReader hub(HUB_SUBSCRIBER);
    ASSERT_EQ(hub.line(), "subscribed");
    expectSilence(busEnvironment());
    for (const auto& report : kReports)
        EXPECT_EQ(hub.line(), std::string("Norva.Tavik: ") + report.payload) << report.name;
}

TEST(ResultMessage, IsDroppedInSilenceWithoutABusThatAnswers) {
    expectSilence({});
    expectSilence({{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere/bus"}});
    const SilentBus silent;
    expectSilence(busEnvironment());
}

}  // namespace
}  // namespace tavik::testing
