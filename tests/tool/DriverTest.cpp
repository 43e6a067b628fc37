#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TemporaryFolder.h"
#include "tests/tool/ScriptedTool.h"

namespace tavik::testing {
namespace {

const std::string kInit = "Init(en_US, QZ, r0)\n";
const std::string kEnable = "GetExtensionHandleByName(Brushes, -1)\nEnableExtension(1, r3)\n";
const std::string kInstallForAll = "InstallExtensionForAll(/a, r1)\n";
const std::string kEnd = "Terminate()\n";

TEST(Driver, PrintsTheHelpScreenByteForByte) {
    const std::string screen = readFile(source("tests/tool/HelpScreen.txt"));
    for (const char* command : {"", "--help"}) {
        const ToolRun got = runScripted("", command);
        EXPECT_EQ(got.out, screen);
        EXPECT_EQ(got.exitCode, 0);
        EXPECT_EQ(got.calls, kEnd);
    }
}

TEST(Driver, RunsCommandsInTheirOrder) {
    const std::string all = "--install_for_all /a ";
    check({
        {"--enable Brushes --product X " + all, "", kEnable + kInstallForAll, "", 0},
        {"--enable Brushes " + all, "status|EnableExtension|-7", kEnable + kInstallForAll,
         "Failed to enable Brushes, status = -7!\n", 0},
        // A positive start is no failure, but the next command starts the core again.
        {all + all + all, "status|Init|5|0",
         kInit + kInstallForAll + kInit + kInstallForAll + kInstallForAll + kEnd, "", 0},
        {"--enable Brushes " + all, "status|Init|-3|0", kInit + kInit + kInstallForAll + kEnd,
         "Quendel init failed, status = -3!\n", 0},
        {"--enable Brushes", "status|Init|-3", "", "Quendel init failed, status = -3!\n", -3},
        {"--product X", "status|Terminate|-6", kEnd, "Failed to terminate Quendel, status = -6!\n",
         0},
        {"--enable Brushes --launch", "", kEnable, "", -1},
        {"--launch fr_FR --enable Brushes", "", kEnable, "", 0},
    });
}

TEST(Driver, ReadsSettingsWhenACommandRuns) {
    const std::string french = "Init(fr_FR, QZ, r0)\n" + kEnable + kEnd;
    const std::string token = "--accessToken T --tokenType bearer ";
    const std::string pass = "SetKPSCredentials(T, bearer, A)\n";
    check({
        {"--locale fr_FR --locale '' --enable Brushes", "", french, "", 0},
        {"--locale '' --enable Brushes", "", "Init(, QZ, r0)\n" + kEnable + kEnd, "", 0},
        {"--enable Brushes --locale fr_FR", "", kEnable, "", 0},
        {token + "--accountID A --install_for_all /a --enable Brushes",
         "status|SetKPSCredentials|-7", pass + kInstallForAll + kEnable, "", 0},
        {"--accountID A " + token + "--install /a", "status|InstallExtension|-7",
         pass + "InstallExtension(/a, r1, -1)\nGetMessage(-7)\n",
         "Failed to install, status = -7!\n", -7},
        {token + "--accountID '' --install_for_all /a", "", kInstallForAll, "", 0},
        {"--accessToken T --accountID A --install_for_all /a", "", kInstallForAll, "", 0},
        {"--tokenType bearer --accountID A --install_for_all /a", "", kInstallForAll, "", 0},
        {token + "--install_for_all /a --accountID A", "", kInstallForAll, "", 0},
    });
}

// Every option's name and its argument's, as users read it where it is missing, and whether the
// option may come twice.
TEST(Driver, KnowsTwentyOptions) {
    const struct {
        std::string name, argument;
        bool repeatable;
    } rows[] = {
        {"help", "", false},
        {"install", "<extension file path>", true},
        {"install_for_all", "<extension file path>", true},
        {"remove", "<extension name>", true},
        {"remove_for_all", "<extension name>", true},
        {"enable", "<extension name>", true},
        {"disable", "<extension name>", true},
        {"list", "<product display name>", true},
        {"locale", "<Locale of the Product>", true},
        {"product", "<product dispaly name>", true},
        {"list_update", "<all || product display name>", true},
        {"list_update_extension", "<extension name>", true},
        {"update", "<extension name>", true},
        {"launch", "", true},  // what is missing here is not told, but launched with
        {"setKPSEndPoint", "<kpsEndPoint>", false},
        {"accessToken", "<accessToken>", false},
        {"tokenType", "<tokenType>", false},
        {"accountID", "<accountID>", false},
        {"list_as_xml", "<product display name | all>", false},
        {"disableSendResult", "<true | false>", false},
    };
    for (const auto& [name, argument, repeatable] : rows) {
        SCOPED_TRACE(name);
        const std::string missing = "Missing option argument: " + name + " requires " + argument;
        EXPECT_EQ(runScripted(kScript, "--" + name).err, argument.empty() ? "" : missing + "\n");

        const std::string written = "--" + name + (name == "help" ? " " : " Brushes ");
        EXPECT_EQ(runScripted(kScript, written).err, "");
        const ToolRun twice = runScripted(kScript, written + written + "--update Brushes");
        EXPECT_EQ(twice.err.find(name) == std::string::npos, repeatable);
        EXPECT_EQ(twice.calls.find("UpdateExtension") != std::string::npos, repeatable);
    }
}

TEST(Driver, EndsWithTheStatusReachedAtAnOptionError) {
    const ToolRun got = runScripted("status|InstallExtensionForAll|-7",
                                    "--install_for_all /a --bogus --enable Brushes");
    EXPECT_EQ(got.calls, kInit + kInstallForAll + kEnd);
    EXPECT_NE(got.err.find("bogus"), std::string::npos);
    EXPECT_EQ(got.exitCode, 249);
}

// A missing text for an install's status is an exception that nothing handles.
TEST(Driver, EndsTheCoreBeforeAnAbnormalEnd) {
    const ToolRun got = runScripted("message|0", "--install /a --enable Brushes");
    EXPECT_EQ(got.calls, kInit + "InstallExtension(/a, r1, -1)\nGetMessage(0)\n" + kEnd);
    EXPECT_EQ(got.exitCode, 134) << "an abort";
}

// The framework's own message names neither the cause nor the remedy.
TEST(Driver, SaysThatItsWorkingDirectoryIsGone) {
    const TemporaryFolder folder;
    const std::string gone = folder / "gone";
    std::filesystem::create_directory(gone);
    const Result got = run(
        {"sh", "-c", "cd \"$1\" && rmdir \"$1\" && exec \"$0\" --help", program("TavikCmd"), gone});
    EXPECT_NE(got.err.find("TavikCmd: working directory: it no longer exists; change to another "
                           "folder and run the command again\n"),
              std::string::npos)
        << got.err;
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.exitCode, 134) << "an abort";
}

}  // namespace
}  // namespace tavik::testing
