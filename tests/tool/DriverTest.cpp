#include <gtest/gtest.h>

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
        {token + "--accountID '' --install_for_all /a", "", kInstallForAll, "", 0},
        {token + "--install_for_all /a --accountID A", "", kInstallForAll, "", 0},
    });
}

// Every option's name, that it takes an argument, and whether it may come twice.
TEST(Driver, KnowsTwentyOptions) {
    for (const std::string option :
         {"install", "install_for_all", "remove", "remove_for_all", "enable", "disable", "list",
          "locale", "product", "list_update", "list_update_extension", "update", "launch"}) {
        const std::string written = "--" + option + " Brushes ";
        EXPECT_EQ(runScripted(kScript, written + written).err, "") << option;
    }
    for (const std::string option : {"help", "setKPSEndPoint", "accessToken", "tokenType",
                                     "accountID", "list_as_xml", "disableSendResult"}) {
        const std::string written = "--" + option + (option == "help" ? " " : " Brushes ");
        EXPECT_EQ(runScripted(kScript, written).err, "") << option;
        const ToolRun got = runScripted(kScript, written + written + "--enable Brushes");
        EXPECT_NE(got.err.find(option), std::string::npos) << option;
        EXPECT_EQ(got.calls.find("EnableExtension"), std::string::npos) << option;
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

}  // namespace
}  // namespace tavik::testing
