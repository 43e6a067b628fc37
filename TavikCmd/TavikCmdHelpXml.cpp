#include <Poco/String.h>

#include "CoreText.h"
#include "Output.h"
#include "TavikCmdHelp.h"

namespace {

/// Values are written as they are: the programs that read this list do not unescape.
void printElement(Rows& rows, const TavikExtensionMetadata& metadata) {
    std::string element = "<extension status=\"";
    element.append(metadata.enabled != 0 ? "Enabled" : "Disabled")
        .append("\" name=\"")
        .append(fieldText(metadata.name))
        .append("\" id=\"")
        .append(fieldText(metadata.id))
        .append("\" version=\"")
        .append(fieldText(metadata.version))
        .append("\" StoreName=\"")
        .append(fieldText(metadata.storeName))
        .append("\" />\n");
    rows.print(element);
}

}  // namespace

int TavikCmdHelper::invokeTavikGetExtensionMetadata(const std::string& which) {
    std::vector<long> handles;
    int status = 0;
    if (Poco::toLower(which) == "all") {
        status = collectAllHandles(handles);
    } else {
        status = TavikGetExtHandlesByProductDisplayName(which, handles);
        if (status < 0)
            printFailure("Failed to get extension info, status = ", status);
    }
    if (status < 0 || handles.empty())
        return status;

    Rows rows;
    rows.print("<extensions>\n");
    TavikExtensionMetadata metadata{};
    for (const long handle : handles) {
        status = TavikGetExtensionMetadataStruct(static_cast<ExtensionHandle>(handle), &metadata);
        // The closing tag is left out, so that a reader notices that the list is not complete.
        if (status < 0)
            return printFailure("Failed to get extension meta-data, status = ", status);
        printElement(rows, metadata);
    }
    rows.print("</extensions>\n");
    return status;
}

int TavikCmdHelper::collectAllHandles(std::vector<long>& handles) {
    unsigned long count = 0;
    int status = TavikGetCountOfProduct(&count);
    if (status < 0)
        return printFailure("Failed to get product count, status = ", status);
    ProductNames products(count);
    status = TavikGetProductsList(count, products.list());
    if (status < 0)
        return printFailure("Failed to get product display name, status = ", status);
    for (std::size_t i = 0; i < products.count(); ++i) {
        status = TavikGetExtHandlesByProductDisplayName(products[i], handles);
        if (status < 0)
            return printFailure("Failed to get extension info, status = ", status);
    }
    return status;
}
