#include "Output.h"
#include "TavikCmdHelp.h"

int TavikCmdHelper::setUpTavik(const std::string& locale, const std::string& productFamily) {
    if (initialised)
        return 0;
    const int status = TavikInit(locale.c_str(), productFamily.c_str(), &initRecord);
    if (status < 0)
        return printFailure("Quendel init failed, status = ", status);
    // A positive status is no failure, but it does not count as set up either: the next command
    // starts the core again.
    initialised = status == 0;
    return status;
}

int TavikCmdHelper::tearDownTavik() {
    const int status = TavikTerminate();
    if (status < 0)
        printFailure("Failed to terminate Quendel, status = ", status);
    return status;
}

void TavikCmdHelper::setProductLocale(const std::string& locale) {
    if (!locale.empty())
        productLocale = locale;
}

std::string TavikCmdHelper::getProductLocale() const {
    return productLocale;
}

void TavikCmdHelper::setDisableSendResult(bool disabled) {
    disableSendResult = disabled;
}

int TavikCmdHelper::invokeTavikSetKPSEndPoint(const std::string& endPoint) {
    if (endPoint.empty()) {
        printLine("Failed to set KPS End Point, kpsEndPoint is empty!");
        return -1;
    }
    const int status = TavikSetKPSEndPoint(endPoint.c_str());
    if (status < 0)
        printFailure("Failed to set KPS End Point, status = ", status);
    return status;
}

int TavikCmdHelper::invokeTavikSetKPSCredentials(const std::string& accessToken,
                                                 const std::string& tokenType,
                                                 const std::string& accountID) {
    return TavikSetKPSCredentials(accessToken.c_str(), tokenType.c_str(), accountID.c_str());
}
