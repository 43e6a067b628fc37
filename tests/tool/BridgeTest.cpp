#include <gtest/gtest.h>

#include "tests/tool/ScriptedTool.h"

namespace tavik::testing {
namespace {

const std::string kFind = "GetExtensionHandleByName(Brushes, -1)\n";
const std::string kVersion = "GetExtensionVersion(1, 0, null)\nGetExtensionVersion(1, 6, buffer)\n";
const std::string kName = "GetExtensionName(1, 0, null)\nGetExtensionName(1, 8, buffer)\n";
const std::string kInstall = "InstallExtension(/a, r1, -1)\n";
const std::string kInstallForAll = "InstallExtensionForAll(/a, r1)\n";
const std::string kRemove = kFind + kVersion + "RemoveExtension(1, r5)\n";
const std::string kRemoveForAll = "RemoveExtensionForAll(Brushes, r5)\n";
const std::string kNotFound = "Failed to get extension handle by extension name, status = -4!\n";

TEST(Bridge, InstallsAndRemoves) {
    check({
        {"--install /a", "", kInstall + "GetMessage(0)\n" + kName + kVersion, "", 0},
        {"--install /a", "status|InstallExtension|5",
         kInstall + "GetMessage(5)\n" + kName + kVersion, "", 5},
        {"--install /a", "status|InstallExtension|-7", kInstall + "GetMessage(-7)\n",
         "Failed to install, status = -7!\n", -7},
        {"--install /a", "status|GetExtensionName|-8\nstatus|GetExtensionVersion|0|-9",
         kInstall +
             "GetMessage(0)\nGetExtensionName(1, 0, null)\nGetExtensionName(1, 0, buffer)\n" +
             kVersion,
         "", 0},
        {"--install_for_all /a", "status|InstallExtensionForAll|5", kInstallForAll, "", 0},
        {"--install_for_all /a", "status|InstallExtensionForAll|-7", kInstallForAll,
         "Failed to install the extension for all users in this machine, status = -7!\n", -7},
        {"--remove Brushes", "status|GetExtensionVersion|0|-9\nstatus|RemoveExtension|5",
         kRemove + "GetMessage(5)\n", "", 5},
        {"--remove Brushes", "status|GetExtensionHandleByName|-4", kFind, kNotFound, -4},
        {"--remove Brushes", "status|RemoveExtension|-7", kRemove + "GetMessage(-7)\n",
         "Failed to remove Brushes, status = -7\n", -7},
        {"--remove_for_all Brushes", "status|RemoveExtensionForAll|5", kRemoveForAll, "", 5},
        {"--remove_for_all Brushes", "status|RemoveExtensionForAll|-7", kRemoveForAll,
         "Failed to remove the extension for all users in this machine, status = -7\n", -7},
    });
}

TEST(Bridge, SwitchesUpdatesAndConfigures) {
    const std::string enable = kFind + "EnableExtension(1, r3)\n";
    const std::string disable = kFind + "DisableExtension(1, r4)\n";
    const std::string update = kFind + "StartCheckUpdate()\nWaitUpdateComplete()\n";
    check({
        {"--enable Brushes", "status|EnableExtension|-7", enable,
         "Failed to enable Brushes, status = -7!\n", -7},
        {"--enable Brushes", "status|GetExtensionHandleByName|-4", kFind, kNotFound, -4},
        {"--disable Brushes", "status|DisableExtension|5", disable, "", 5},
        {"--disable Brushes", "status|DisableExtension|-7", disable,
         "Failed to disable Brushes, status = -7!\n", -7},
        {"--update Brushes", "status|StartCheckUpdate|-2\nstatus|WaitUpdateComplete|-3",
         update + "UpdateExtension(1, null)\n", "", 0},
        {"--update Brushes", "status|UpdateExtension|-7", update + "UpdateExtension(1, null)\n",
         "Update extension failed, status = -7!\n", -7},
        {"--update Brushes", "status|GetExtensionHandleByName|-4", kFind,
         "Failed to get extension, status = -4!\n", -4},
        {"--setKPSEndPoint https://kps", "status|SetKPSEndPoint|-7",
         "SetKPSEndPoint(https://kps)\n", "Failed to set KPS End Point, status = -7!\n", -7},
        {"--setKPSEndPoint ''", "", "", "Failed to set KPS End Point, kpsEndPoint is empty!\n", -1},
    });
}

TEST(Bridge, PrintsTheTextOfAStatus) {
    const auto texts = [](const char* statuses) {
        return runScripted("message|-5|gone\nmessage|6", statuses, {}, "tests/TavikCmdMessage").out;
    };
    EXPECT_EQ(texts("0 -5abc abc '' 010"), "text of 0\ngone\ntext of 0\ntext of 0\ntext of 10\n");
    EXPECT_EQ(texts("1 6 2"), "text of 1\n") << "output fails for good at a missing text";
}

}  // namespace
}  // namespace tavik::testing
