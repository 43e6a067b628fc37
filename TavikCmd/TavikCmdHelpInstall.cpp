#include "CoreText.h"
#include "Output.h"
#include "TavikCmdHelp.h"
#include "reporting/TavikZephal.h"

namespace {

void report(int status, const std::string& message, const char* operation,
            const std::string& bundleId, const std::string& version) {
    NORVA_TAVIK::CTavikZephal::getInstance().sendZephalMessageToBrixa(status, message, operation,
                                                                      bundleId, version);
}

}  // namespace

int TavikCmdHelper::invokeTavikInstallAPI(const std::string& path) {
    ExtensionHandle handle = -1;
    const int status = TavikInstallExtension(path.c_str(), &installRecord, &handle);
    const std::string message = TavikGetMessage(status);
    const bool silent = disableSendResult;
    if (status < 0) {
        printFailure("Failed to install, status = ", status);
        if (!silent)
            report(status, message, "install", "", "");
        return status;
    }
    // Fetched even when nothing is sent.
    const std::string name = textOf(&TavikGetExtensionName, handle);
    const std::string version = textOf(&TavikGetExtensionVersion, handle);
    if (!silent)
        report(status, message, "install", name, version);
    return status;
}

int TavikCmdHelper::invokeTavikInstallForAll(const std::string& path) {
    const int status = TavikInstallExtensionForAll(path.c_str(), &installRecord);
    if (status < 0)
        return printFailure(
            "Failed to install the extension for all users in this machine, status = ", status);
    // Alone among the operations, this one turns a positive status into 0.
    return 0;
}

int TavikCmdHelper::invokeTavikRemoveAPI(const std::string& extensionName) {
    ExtensionHandle handle = -1;
    int status = TavikGetExtensionHandleByName(extensionName.c_str(), &handle);
    if (status < 0)
        return printFailure("Failed to get extension handle by extension name, status = ", status);
    const bool silent = disableSendResult;
    // The version is gone once the extension is.
    const std::string version = textOf(&TavikGetExtensionVersion, handle);
    status = TavikRemoveExtension(handle, &removeRecord);
    // The failure lines of both removals end without "!", unlike all others.
    if (status < 0)
        printLine("Failed to remove " + extensionName + ", status = " + std::to_string(status));
    const std::string message = TavikGetMessage(status);
    if (!silent)
        report(status, message, "uninstall", extensionName, version);
    return status;
}

int TavikCmdHelper::invokeTavikRemoveForAll(const std::string& extensionName) {
    const int status = TavikRemoveExtensionForAll(extensionName.c_str(), &removeRecord);
    if (status < 0)
        printLine("Failed to remove the extension for all users in this machine, status = " +
                  std::to_string(status));
    return status;
}
