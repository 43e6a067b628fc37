#include <Poco/String.h>

#include "CoreText.h"
#include "Output.h"
#include "TavikCmdHelp.h"
#include "TextTable.h"

namespace {

constexpr std::size_t kLongestName = 60;

/// Lets the core's check for updates run to its end. Its outcome shows in the calls that follow.
void waitForUpdateCheck() {
    TavikStartCheckUpdate();
    TavikWaitUpdateComplete();
}

void printHead(Rows& rows) {
    std::string head;
    appendRightAligned(head, "Extension Name", 15);
    appendRightAligned(head, "Version", 60);
    head += "\n=================================================================  ===========\n";
    rows.print(head);
}

void printRow(Rows& rows, const TavikUpdateInfo& update) {
    std::string row;
    appendName(row, fieldText(update.name), kLongestName, 62);
    appendRightAligned(row, fieldText(update.version), 16);
    rows.print(row += '\n');
}

/// Prints the updates of one product, or nothing where there is none.
void printUpdates(const std::string& productDisplayName,
                  const CoreArray<TavikUpdateInfo>& updates) {
    if (updates.count() == 0)
        return;
    Rows rows;
    rows.print(extensionCount(updates.count()) + "of " + productDisplayName + " need update\n");
    printHead(rows);
    for (const TavikUpdateInfo& update : updates)
        printRow(rows, update);
}

int countUpdates(const std::string& productName, unsigned long& count) {
    const int status = TavikGetCountOfUpdateExtByProduct(productName.c_str(), &count);
    if (status < 0)
        printFailure("Get extension count failed, status = ", status);
    return status;
}

int readUpdates(const std::string& productName, CoreArray<TavikUpdateInfo>& updates) {
    const int status =
        TavikGetUpdateInfoByProduct(productName.c_str(), updates.count(), updates.data());
    // The same words as for a failing count.
    if (status < 0)
        printFailure("Get extension count failed, status = ", status);
    return status;
}

int findExtension(const std::string& extensionName, ExtensionHandle& handle) {
    const int status = TavikGetExtensionHandleByName(extensionName.c_str(), &handle);
    if (status < 0)
        printFailure("Failed to get extension, status = ", status);
    return status;
}

}  // namespace

int TavikCmdHelper::invokeTavikGetAllUpdateInfo(const std::string& which) {
    return Poco::toLower(which) == "all" ? listUpdatesOfAllProducts() : listUpdatesOfProduct(which);
}

int TavikCmdHelper::listUpdatesOfProduct(const std::string& productDisplayName) {
    ProductNames names(1);
    int status =
        TavikGetProductNameByProductDisplayName(productDisplayName.c_str(), names.buffer(0));
    if (status < 0)
        return printFailure("Get product name failed, status = ", status);
    if (names[0].empty()) {
        printLine("There isn't a product named: " + productDisplayName);
        return status;
    }
    waitForUpdateCheck();
    unsigned long count = 0;
    status = countUpdates(names[0], count);
    if (status < 0)
        return status;
    // Asked for even where there is none: the command's status is this call's.
    CoreArray<TavikUpdateInfo> updates(count);
    status = readUpdates(names[0], updates);
    if (status >= 0)
        printUpdates(productDisplayName, updates);
    return status;
}

int TavikCmdHelper::listUpdatesOfAllProducts() {
    unsigned long productCount = 0;
    int status = TavikGetCountOfProduct(&productCount);
    if (status < 0)
        return printFailure("Get product count failed, status = ", status);
    ProductNames displayNames(productCount);
    ProductNames names(productCount);
    status = TavikGetProductsList(productCount, displayNames.list());
    if (status < 0)
        return printFailure("Get product displayname failed, status = ", status);
    for (std::size_t i = 0; i < productCount; ++i) {
        status = TavikGetProductNameByProductDisplayName(displayNames[i].c_str(), names.buffer(i));
        if (status < 0)
            return printFailure("TavikGetProductNameByProductDisplayName failed, status = ",
                                status);
    }
    waitForUpdateCheck();
    for (std::size_t i = 0; i < productCount && status >= 0; ++i) {
        unsigned long count = 0;
        status = countUpdates(names[i], count);
        if (status < 0 || count == 0)
            continue;
        CoreArray<TavikUpdateInfo> updates(count);
        status = readUpdates(names[i], updates);
        if (status >= 0)
            printUpdates(displayNames[i], updates);
    }
    return status;
}

int TavikCmdHelper::invokeTavikUpdateInfoForExt(const std::string& extensionName) {
    ExtensionHandle handle = -1;
    int status = findExtension(extensionName, handle);
    if (status < 0)
        return status;
    waitForUpdateCheck();
    TavikUpdateInfo update{};
    status = TavikGetUpdateInfoByExtId(handle, &update);
    // An extension without an update is told by the status alone.
    if (status < 0)
        return status;
    Rows rows;
    printHead(rows);
    printRow(rows, update);
    return status;
}

int TavikCmdHelper::invokeTavikUpdateExtension(const std::string& extensionName) {
    ExtensionHandle handle = -1;
    int status = findExtension(extensionName, handle);
    if (status < 0)
        return status;
    waitForUpdateCheck();
    status = TavikUpdateExtension(handle, nullptr);
    if (status < 0)
        printFailure("Update extension failed, status = ", status);
    return status;
}
