#include <Poco/String.h>

#include "CoreText.h"
#include "Output.h"
#include "TavikCmdHelp.h"
#include "TextTable.h"

namespace {

constexpr unsigned long kNameQuerySize = 128;
constexpr unsigned long kSpareNameBytes = 10;
constexpr std::size_t kLongestName = 50;
constexpr std::size_t kUsualRowBytes = 96;
constexpr int kEnabled = 1;

void printHead(Rows& rows, unsigned long count, const char* productDisplayName) {
    std::string head = extensionCount(count) + "installed for " + productDisplayName + "\n";
    appendRightAligned(head, "Status", 7);
    appendRightAligned(head, "Extension Name", 38);
    appendRightAligned(head, "Version", 32);
    head += "\n=========  =======================================================  ==========\n";
    rows.print(head);
}

/// Prints the row of one extension; returns the status of the call that failed, or of the last.
int printRow(Rows& rows, ExtensionHandle handle, unsigned long nameQuerySize,
             unsigned long nameLength) {
    int state = 0;
    int status = TavikGetExtensionStatus(handle, &state);
    if (status < 0)
        return printFailure("Failed to get extension status, status = ", status);

    std::string version;
    unsigned long versionSize = 0;
    status = TavikGetExtensionVersion(handle, 0, nullptr, &versionSize);
    if (status >= 0)
        status = copyText(&TavikGetExtensionVersion, handle, versionSize, 0, version);
    if (status < 0)
        return printFailure("Failed to get extension version, status = ", status);

    std::string name;
    status = TavikGetExtensionName(handle, nameQuerySize, nullptr, &nameLength);
    if (status >= 0)
        status = copyText(&TavikGetExtensionName, handle, nameLength, kSpareNameBytes, name);
    if (status < 0)
        return printFailure("Failed to get extension name status = ", status);

    std::string row;
    row.reserve(kUsualRowBytes);
    appendRightAligned(row, state == kEnabled ? "Enabled" : "Disabled", 8);
    appendName(row, name, kLongestName, 55);
    appendRightAligned(row, version, 15);
    row += '\n';
    rows.print(row);
    return status;
}

}  // namespace

int TavikCmdHelper::invokeTavikGetExtListOfProduct(const std::string& which) {
    if (Poco::toLower(which) == "all")
        return listAllProducts();
    // Scripts rely on the constant 0 in this line, and on status 0 for a failing product.
    if (TavikGetExtListOfProduct(which.c_str(), kNameQuerySize, 0, 0) < 0)
        printFailure("Failde to get extension of product, status = ", 0);
    return 0;
}

int TavikCmdHelper::listAllProducts() {
    unsigned long count = 0;
    int status = TavikGetCountOfProduct(&count);
    if (status < 0)
        return printFailure("Failed to get product count, status = ", status);
    ProductNames products(count);
    status = TavikGetProductsList(count, products.list());
    if (status < 0)
        return printFailure("Failed to get product list, status = ", status);
    for (std::size_t i = 0; i < products.count(); ++i)
        // The status in this line is the product list's, not the failing product's.
        if (TavikGetExtListOfProduct(products[i].c_str(), kNameQuerySize, 0, 0) < 0)
            printFailure("Failde to get extension of product, status = ", status);
    return status;
}

int TavikCmdHelper::TavikGetExtListOfProduct(const char* productDisplayName,
                                             unsigned long nameQuerySize,
                                             unsigned long extensionCount,
                                             unsigned long nameLength) {
    int status = TavikGetExtensionCountOfProductByDisplayName(productDisplayName, &extensionCount);
    if (status < 0)
        return printFailure("Failed to get extension count of product status = ", status);
    Rows rows;
    printHead(rows, extensionCount, productDisplayName);
    CoreArray<ExtensionHandle> handles(extensionCount);
    status = TavikGetExtensionsListOfProductByDisplayName(productDisplayName, extensionCount,
                                                          handles.data());
    if (status < 0)
        return printFailure("Failed to get extensions list of product status = ", status);
    for (const ExtensionHandle handle : handles) {
        status = printRow(rows, handle, nameQuerySize, nameLength);
        if (status < 0)
            return status;
    }
    rows.print("\n");
    return status;
}

int TavikCmdHelper::TavikGetExtHandlesByProductDisplayName(const std::string& productDisplayName,
                                                           std::vector<long>& handles) {
    unsigned long count = 0;
    int status = TavikGetExtensionCountOfProductByDisplayName(productDisplayName.c_str(), &count);
    if (status < 0)
        return printFailure("Failed to get extension count of product status = ", status);
    CoreArray<ExtensionHandle> found(count);
    status = TavikGetExtensionsListOfProductByDisplayName(productDisplayName.c_str(), count,
                                                          found.data());
    if (status < 0)
        return printFailure("Failed to get extension list of product status = ", status);
    handles.insert(handles.end(), found.begin(), found.end());
    return status;
}
