// What the tool tells the hub, on a core that follows a script.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/messaging/PrivateBus.h"
#include "tests/support/Process.h"

namespace tavik::testing {
namespace {

using Arguments = std::vector<std::string>;

/// Runs of the tool, in a folder of their own.
class ResultMessage : public ::testing::Test {
  protected:
    Environment environment(const std::string& script) {
        // Handle 1 is the first extension of a script; this one stands behind that of a row.
        writeFile(folder_ / "script", script + "extension|Sketch|1|Brushes|1.4.0|id|\n");
        Environment environment{{"LD_LIBRARY_PATH", SCRIPTED_CORE_FOLDER},
                                {"SCRIPTED_CORE_SCRIPT", folder_ / "script"},
                                {"SCRIPTED_CORE_LOG", folder_ / "log"}};
        if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"))
            environment["DBUS_SESSION_BUS_ADDRESS"] = address;
        return environment;
    }

    /// All that a user sees of a run.
    std::string seen(const std::string& script, Arguments arguments) {
        arguments.insert(arguments.begin(), program("TavikCmd"));
        const Result result =
            Process(arguments, environment(script)).wait(std::chrono::seconds(20));
        return std::to_string(result.exitCode) + "|" + result.out + "|" + result.err;
    }

    TemporaryFolder folder_;
};

TEST_F(ResultMessage, ReachesTheHubByteForByteAndChangesNothingElse) {
    const struct {
        const char* name;
        const char* script;
        Arguments arguments;
        std::string payload;  ///< empty where nothing is sent
    } rows[] = {
        {"install",
         "message|0|Done.\n",
         {"--install", "p"},
         R"({"ReturnCode":0,"ReturnMsg":"Done.","Operation":"install","BundleId":"Brushes","Version":"1.4.0"})"},
        {"any bytes, positive status",
         "status|InstallExtension|7\nmessage|7|\"Done\" \xc3\n"
         "extension|Sketch|1|a \"\\\xff|\xed\xa0\x80\t|id|\n",
         {"--install", "p"},
         "{\"ReturnCode\":7,\"ReturnMsg\":\"\"Done\" \xc3\",\"Operation\":\"install\","
         "\"BundleId\":\"a \"\\\xff\",\"Version\":\"\xed\xa0\x80\t\"}"},
        {"failed install",
         "status|InstallExtension|-12\nmessage|-12|\n",
         {"--install", "p"},
         R"({"ReturnCode":-12,"ReturnMsg":"","Operation":"install","BundleId":"","Version":""})"},
        {"off", "", {"--disableSendResult", "true", "--install", "p", "--remove", "Brushes"}, ""},
        {"for all users", "", {"--install_for_all", "p", "--remove_for_all", "Brushes"}, ""},
        {"nothing to remove", "status|GetExtensionHandleByName|-3\n", {"--remove", "Brushes"}, ""},
        {"remove",
         "message|0|Gone.\n",
         {"--remove", "Brushes"},
         R"({"ReturnCode":0,"ReturnMsg":"Gone.","Operation":"uninstall","BundleId":"Brushes","Version":"1.4.0"})"},
        {"failed remove",
         "status|RemoveExtension|-2147483648\nmessage|-2147483648|No.\n",
         {"--remove", "Brushes"},
         R"({"ReturnCode":-2147483648,"ReturnMsg":"No.","Operation":"uninstall","BundleId":"Brushes","Version":"1.4.0"})"},
    };
    std::vector<std::string> withoutBus;
    for (const auto& row : rows)
        withoutBus.push_back(seen(row.script, row.arguments));
    const PrivateBus bus;
    Process hub({HUB_SUBSCRIBER}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}});
    ASSERT_EQ(hub.line(), "subscribed");
    auto expected = withoutBus.begin();
    for (const auto& row : rows) {
        EXPECT_EQ(seen(row.script, row.arguments), *expected++) << row.name;
        if (!row.payload.empty()) {
            EXPECT_EQ(hub.line(), "Norva.Tavik: " + row.payload) << row.name;
        }
    }
}

TEST_F(ResultMessage, IsDroppedInSilenceByABusThatDoesNotAnswer) {
    const Arguments twice{"--install", "p", "--install", "p"};
    EXPECT_EQ(seen("", twice), "0||");
    PrivateBus bus;
    bus.freeze();
    EXPECT_EQ(seen("", twice), "0||");
    bus.kill();
    EXPECT_EQ(seen("", twice), "0||");
}

TEST_F(ResultMessage, SurvivesABusThatDiesBetweenTwoInstalls) {
    PrivateBus bus;
    Process hub({HUB_SUBSCRIBER}, {{"DBUS_SESSION_BUS_ADDRESS", bus.address()}});
    ASSERT_EQ(hub.line(), "subscribed");
    // The core's log is a pipe that the second install's line overfills: there the tool waits until
    // the pipe is read.
    const std::string log = folder_ / "log";
    ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
    const int reading = open(log.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_EQ(fcntl(reading, F_SETPIPE_SZ, 4096), 4096);
    fcntl(reading, F_SETFL, 0);
    Process tool({program("TavikCmd"), "--install", "p", "--install", std::string(8000, 'p')},
                 environment(""));
    EXPECT_NE(hub.line(), "");
    bus.kill();
    std::string ignored(4096, '\0');
    while (read(reading, ignored.data(), ignored.size()) > 0) {
    }
    close(reading);
    const Result result = tool.wait();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out + result.err, "");
}

}  // namespace
}  // namespace tavik::testing
