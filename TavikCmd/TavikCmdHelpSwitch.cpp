#include <cstdlib>
#include <iostream>

#include "Output.h"
#include "TavikCmdHelp.h"

int TavikCmdHelper::switchExtension(const std::string& extensionName,
                                    int (*coreCall)(ExtensionHandle, OperationRecord*),
                                    OperationRecord& record, const char* failureText) {
    ExtensionHandle handle = -1;
    int status = TavikGetExtensionHandleByName(extensionName.c_str(), &handle);
    if (status < 0)
        return printFailure("Failed to get extension handle by extension name, status = ", status);
    status = coreCall(handle, &record);
    if (status < 0)
        printFailure(failureText + extensionName + ", status = ", status);
    return status;
}

int TavikCmdHelper::invokeTavikEnalbleAPI(const std::string& extensionName) {
    return switchExtension(extensionName, &TavikEnableExtension, enableRecord, "Failed to enable ");
}

int TavikCmdHelper::invokeTavikDisalbleAPI(const std::string& extensionName) {
    return switchExtension(extensionName, &TavikDisableExtension, disableRecord,
                           "Failed to disable ");
}

void TavikCmdHelper::invokeTavikGetMessage(const std::string& statusText) {
    // Text without a leading number means status 0, and what follows a number is ignored.
    const int code = static_cast<int>(std::strtol(statusText.c_str(), nullptr, 10));
    const char* const message = TavikGetMessage(code);
    if (message != nullptr)
        std::cout << message;
    else
        std::cout.setstate(std::ios::badbit);  // as inserting a missing text does
    std::cout << std::endl;
}
