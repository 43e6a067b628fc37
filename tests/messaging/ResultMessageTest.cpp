// What the tool tells the hub, on a core that follows a script.
#include <gtest/gtest.h>

#include <future>

#include "tests/messaging/PrivateBus.h"
#include "tests/tool/ScriptedTool.h"

namespace tavik::testing {
namespace {

/// All that a user sees of a run.
std::string seen(const std::string& script, const std::string& command,
                 const std::string& bus = "") {
    // Handle 1 is the first extension of a script; that of kScript stands behind that of a row.
    const ToolRun run = runScripted(script + kScript, command, {{"DBUS_SESSION_BUS_ADDRESS", bus}});
    return std::to_string(run.exitCode) + "|" + run.out + "|" + run.err;
}

std::string payload(const std::string& status, const std::string& message,
                    const std::string& operation, const std::string& name = "Brushes",
                    const std::string& version = "1.4.0") {
    return R"({"ReturnCode":)" + status + R"(,"ReturnMsg":")" + message + R"(","Operation":")" +
           operation + R"(","BundleId":")" + name + R"(","Version":")" + version + R"("})";
}

TEST(ResultMessage, ReachesTheHubByteForByteAndChangesNothingElse) {
    const struct {
        std::string command;
        std::string script;
        std::string payload;  ///< empty where nothing is sent
    } rows[] = {
        {"--install p", "message|0|Done.\n", payload("0", "Done.", "install")},
        {"--install p",
         "status|InstallExtension|7\nmessage|7|\"Done\" \xc3\n"
         "extension|Sketch|1|a \"\\\xff|\xed\xa0\x80\t|id|\n",
         payload("7", "\"Done\" \xc3", "install", "a \"\\\xff", "\xed\xa0\x80\t")},
        {"--install p", "status|GetExtensionName|-8\nstatus|GetExtensionVersion|-9\n",
         payload("0", "text of 0", "install", "", "")},
        {"--install p", "status|InstallExtension|-12\nmessage|-12|\n",
         payload("-12", "", "install", "", "")},
        {"--disableSendResult tRuE --install p --remove Brushes", "", ""},
        {"--install_for_all p --remove_for_all Brushes", "", ""},
        {"--remove Brushes", "status|GetExtensionHandleByName|-3\n", ""},
        {"--disableSendResult yes --remove Brushes", "", payload("0", "text of 0", "uninstall")},
        {"--remove Brushes --disableSendResult true", "status|RemoveExtension|-2147483648\n",
         payload("-2147483648", "text of -2147483648", "uninstall")},
    };
    const PrivateBus bus;
    Process hub({HUB_SUBSCRIBER}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}});
    ASSERT_EQ(hub.line(), "subscribed");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command + " [" + row.script + "]");
        EXPECT_EQ(seen(row.script, row.command, bus.address()), seen(row.script, row.command));
        if (!row.payload.empty()) {
            EXPECT_EQ(hub.line(), "Norva.Tavik: " + row.payload);
        }
    }
}

TEST(ResultMessage, IsDroppedInSilenceByABusThatDoesNotAnswer) {
    PrivateBus bus;
    const auto installs = [&] { return seen("", "--install p --install p", bus.address()); };
    bus.freeze();
    EXPECT_EQ(installs(), "0||");
    bus.kill();
    EXPECT_EQ(installs(), "0||");
}

TEST(ResultMessage, SurvivesABusThatDiesBetweenInstalls) {
    PrivateBus bus;
    Process hub({HUB_SUBSCRIBER}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}});
    ASSERT_EQ(hub.line(), "subscribed");
    std::string installs;
    for (int i = 0; i < 500; ++i)
        installs += "--install p ";
    auto tool = std::async(std::launch::async, seen, "", installs, bus.address());
    EXPECT_NE(hub.line(), "");
    bus.kill();
    EXPECT_EQ(tool.get(), "0||");
}

}  // namespace
}  // namespace tavik::testing
