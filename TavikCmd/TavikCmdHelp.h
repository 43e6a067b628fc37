#pragma once

#include <LibTavikCoreLib.h>

#include <string>
#include <vector>

/// The bridge to the core library, the one place that calls it. Each operation carries out one
/// command: it prints its results and failures to standard output and returns the status, negative
/// for a failure. Exactly one exists in a process. Its destructor does not end the core:
/// tearDownTavik does.
class TavikCmdHelper {
  public:
    TavikCmdHelper() = default;
    TavikCmdHelper(const TavikCmdHelper&) = delete;
    TavikCmdHelper& operator=(const TavikCmdHelper&) = delete;

    /// Starts the core, once: after a start that returned exactly 0 further calls return 0 at once.
    int setUpTavik(const std::string& locale, const std::string& productFamily);

    /// Ends the core, started or not.
    int tearDownTavik();

    /// Install and remove for the current user report their outcome to the hub unless sending is
    /// disabled; the variants for all users never do.
    int invokeTavikInstallAPI(const std::string& path);
    int invokeTavikInstallForAll(const std::string& path);
    int invokeTavikRemoveAPI(const std::string& extensionName);
    int invokeTavikRemoveForAll(const std::string& extensionName);

    int invokeTavikEnalbleAPI(const std::string& extensionName);
    int invokeTavikDisalbleAPI(const std::string& extensionName);

    /// Prints the core's text for the status that `statusText` begins with, 0 where it begins with
    /// none. Where the core has no text, standard output fails and the process prints nothing more.
    void invokeTavikGetMessage(const std::string& statusText);

    /// Prints the table of one product's extensions, or of every product's for "all" in any case.
    int invokeTavikGetExtListOfProduct(const std::string& which);

    /// Prints one product's table. `nameQuerySize` is the buffer size told in the query for a
    /// name's size; the last two arguments are working storage, callers pass 0.
    int TavikGetExtListOfProduct(const char* productDisplayName, unsigned long nameQuerySize,
                                 unsigned long extensionCount, unsigned long nameLength);

    /// Appends the handles of one product's extensions.
    int TavikGetExtHandlesByProductDisplayName(const std::string& productDisplayName,
                                               std::vector<long>& handles);

    /// Prints which extensions of one product, or of all for "all", have an update. Like the next
    /// two it first waits for the core's check for updates.
    int invokeTavikGetAllUpdateInfo(const std::string& which);
    int invokeTavikUpdateInfoForExt(const std::string& extensionName);
    int invokeTavikUpdateExtension(const std::string& extensionName);

    /// Prints one product's extensions, or all for "all", as XML. Values are written as they are,
    /// without escaping; without extensions nothing is printed.
    int invokeTavikGetExtensionMetadata(const std::string& which);

    int invokeTavikSetKPSEndPoint(const std::string& endPoint);

    /// Passes the credentials to the core, keeps none, and prints nothing even on failure.
    int invokeTavikSetKPSCredentials(const std::string& accessToken, const std::string& tokenType,
                                     const std::string& accountID);

    /// An empty locale is ignored.
    void setProductLocale(const std::string& locale);
    std::string getProductLocale() const;

    void setDisableSendResult(bool disabled);

  private:
    int listAllProducts();
    int listUpdatesOfProduct(const std::string& productDisplayName);
    int listUpdatesOfAllProducts();
    int collectAllHandles(std::vector<long>& handles);
    int switchExtension(const std::string& extensionName,
                        int (*coreCall)(ExtensionHandle, OperationRecord*), OperationRecord& record,
                        const char* failureText);

    // The core's own storage: zeroed here, handed over by address, never read or written again.
    OperationRecord initRecord{};
    OperationRecord installRecord{};
    OperationRecord reservedRecord{};
    OperationRecord enableRecord{};
    OperationRecord disableRecord{};
    OperationRecord removeRecord{};
    std::string productLocale;
    bool initialised = false;
    bool disableSendResult = false;
};
