// A core library that does as the file named by SCRIPTED_CORE_SCRIPT says and appends every call to
// the file named by SCRIPTED_CORE_LOG. Function names stand without their "Tavik". A script's
// lines:
//
//   status|FUNCTION|FIRST|SECOND|...     status of each call, the last one of all further calls; 0
//                                        without such a line. At "crash" the process aborts
//   message|STATUS|TEXT                  a status's text; without "|TEXT" it has none
//   product|DISPLAY NAME|INTERNAL NAME
//   extension|DISPLAY NAME OF PRODUCT|STATE|NAME|VERSION|ID|STORE NAME
//   update|INTERNAL NAME OF PRODUCT|EXTENSION NAME|VERSION
//
// Handles count the extensions from 1; an install gives handle 1. An operation record is logged as
// "rN", its place counted from the record that Init got, or as "dirty" where it is not zeroed. An
// array that is null is refused, also where its count is 0.
#include <LibTavikCoreLib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Fields = std::vector<std::string>;
using Rows = std::vector<Fields>;

Rows readScript() {
    Rows script;
    std::ifstream file(std::getenv("SCRIPTED_CORE_SCRIPT"));
    for (std::string line; std::getline(file, line);) {
        Fields fields;
        std::istringstream parts(line + (!line.empty() && line.back() == '|' ? "|" : ""));
        for (std::string part; std::getline(parts, part, '|');)
            fields.push_back(part);
        if (!fields.empty())
            script.push_back(fields);
    }
    return script;
}

/// The rows of one kind, or those among them that begin with that value.
Rows rows(const std::string& kind, const char* value = nullptr) {
    static const Rows script = readScript();
    Rows found;
    for (const Fields& row : script)
        if (row[0] == kind && (value == nullptr || row.at(1) == value))
            found.push_back(row);
    return found;
}

Fields extension(ExtensionHandle handle) {
    return rows("extension").at(static_cast<std::size_t>(handle) - 1);
}

constexpr int kNullArray = -99;

/// Logs a call; returns its status.
template <class... Arguments>
int called(const char* function, const Arguments&... arguments) {
    static std::ofstream log(std::getenv("SCRIPTED_CORE_LOG"), std::ios::app);
    static std::map<std::string, std::size_t> callsBefore;
    std::ostringstream line;
    ((line << ", " << arguments), ...);
    const std::string name = function + std::strlen("Tavik");
    log << name << "(" << line.str().substr(sizeof...(arguments) == 0 ? 0 : 2) << ")" << std::endl;
    const std::size_t call = callsBefore[name]++;
    const Rows found = rows("status", name.c_str());
    const std::string status =
        found.empty() ? "0" : found[0][std::min(2 + call, found[0].size() - 1)];
    if (status == "crash")
        std::abort();
    return std::stoi(status);
}

std::string shown(const OperationRecord* record) {
    static const OperationRecord* const first = record;
    const bool clean = std::all_of(std::begin(record->opaque), std::end(record->opaque),
                                   [](std::uint64_t word) { return word == 0; });
    return clean ? "r" + std::to_string(record - first) : "dirty";
}

/// Fills a field to its end: a text that is too long leaves no NUL.
void fill(char* field, std::size_t size, const std::string& text) {
    std::memcpy(field, text.c_str(), std::min(size, text.size() + 1));
}

void fill(TavikUpdateInfo& update, const Fields& row) {
    fill(update.name, sizeof update.name, row[2]);
    fill(update.version, sizeof update.version, row[3]);
}

int text(const char* function, ExtensionHandle handle, std::size_t column, unsigned long size,
         char* buffer, unsigned long* sizeOut) {
    const int status = called(function, handle, size, buffer != nullptr ? "buffer" : "null");
    if (status < 0)
        return status;
    const std::string value = extension(handle)[column];
    *sizeOut = value.size() + 1;
    if (buffer != nullptr)
        fill(buffer, size, value);
    return status;
}

}  // namespace

int TavikInit(const char* locale, const char* family, OperationRecord* record) {
    return called(__func__, locale, family, shown(record));
}
int TavikTerminate(void) {
    return called(__func__);
}
int TavikInstallExtension(const char* path, OperationRecord* record, ExtensionHandle* out) {
    const int status = called(__func__, path, shown(record), *out);
    *out = status < 0 ? -1 : 1;
    return status;
}
int TavikInstallExtensionForAll(const char* path, OperationRecord* record) {
    return called(__func__, path, shown(record));
}
int TavikRemoveExtension(ExtensionHandle handle, OperationRecord* record) {
    return called(__func__, handle, shown(record));
}
int TavikRemoveExtensionForAll(const char* name, OperationRecord* record) {
    return called(__func__, name, shown(record));
}
int TavikEnableExtension(ExtensionHandle handle, OperationRecord* record) {
    return called(__func__, handle, shown(record));
}
int TavikDisableExtension(ExtensionHandle handle, OperationRecord* record) {
    return called(__func__, handle, shown(record));
}
int TavikGetExtensionHandleByName(const char* name, ExtensionHandle* out) {
    const int status = called(__func__, name, *out);
    const Rows all = rows("extension");
    for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i][3] == name)
            *out = static_cast<ExtensionHandle>(i) + 1;
    return status;
}
int TavikGetExtensionName(ExtensionHandle handle, unsigned long size, char* buffer,
                          unsigned long* sizeOut) {
    return text(__func__, handle, 3, size, buffer, sizeOut);
}
int TavikGetExtensionVersion(ExtensionHandle handle, unsigned long size, char* buffer,
                             unsigned long* sizeOut) {
    return text(__func__, handle, 4, size, buffer, sizeOut);
}
int TavikGetExtensionStatus(ExtensionHandle handle, int* stateOut) {
    *stateOut = std::stoi(extension(handle)[2]);
    return called(__func__, handle);
}
const char* TavikGetMessage(int status) {
    static std::string message;
    called(__func__, status);
    const Rows found = rows("message", std::to_string(status).c_str());
    message = found.empty() ? "text of " + std::to_string(status) : found[0].back();
    return !found.empty() && found[0].size() < 3 ? nullptr : message.c_str();
}
int TavikGetCountOfProduct(unsigned long* out) {
    *out = rows("product").size();
    return called(__func__);
}
int TavikGetProductsList(unsigned long count, char** names) {
    if (names == nullptr)
        return kNullArray;
    for (std::size_t i = 0; i < count; ++i)
        fill(names[i], 64, rows("product").at(i)[1]);
    return called(__func__, count);
}
int TavikGetExtensionCountOfProductByDisplayName(const char* product, unsigned long* out) {
    *out = rows("extension", product).size();
    return called(__func__, product);
}
int TavikGetExtensionsListOfProductByDisplayName(const char* product, unsigned long count,
                                                 ExtensionHandle* handles) {
    if (handles == nullptr)
        return kNullArray;
    const Rows all = rows("extension");
    for (std::size_t i = 0; i < all.size(); ++i)
        if (all[i][1] == product)
            *handles++ = static_cast<ExtensionHandle>(i) + 1;
    return called(__func__, product, count);
}
int TavikGetProductNameByProductDisplayName(const char* product, char* name) {
    for (const Fields& row : rows("product", product))
        fill(name, 64, row[2]);
    return called(__func__, product);
}
int TavikStartCheckUpdate(void) {
    return called(__func__);
}
int TavikWaitUpdateComplete(void) {
    return called(__func__);
}
int TavikGetCountOfUpdateExtByProduct(const char* product, unsigned long* out) {
    *out = rows("update", product).size();
    return called(__func__, product);
}
int TavikGetUpdateInfoByProduct(const char* product, unsigned long count,
                                TavikUpdateInfo* updates) {
    if (updates == nullptr)
        return kNullArray;
    for (const Fields& row : rows("update", product))
        fill(*updates++, row);
    return called(__func__, product, count);
}
int TavikGetUpdateInfoByExtId(ExtensionHandle handle, TavikUpdateInfo* update) {
    for (const Fields& row : rows("update"))
        fill(*update, row);
    return called(__func__, handle);
}
int TavikUpdateExtension(ExtensionHandle handle, void* reserved) {
    return called(__func__, handle, reserved == nullptr ? "null" : "not null");
}
int TavikSetKPSEndPoint(const char* endPoint) {
    return called(__func__, endPoint);
}
int TavikSetKPSCredentials(const char* accessToken, const char* tokenType, const char* accountID) {
    return called(__func__, accessToken, tokenType, accountID);
}
int TavikGetExtensionMetadataStruct(ExtensionHandle handle, TavikExtensionMetadata* record) {
    const Fields row = extension(handle);
    record->enabled = std::stoi(row[2]);
    fill(record->name, sizeof record->name, row[3]);
    fill(record->version, sizeof record->version, row[4]);
    fill(record->id, sizeof record->id, row[5]);
    fill(record->storeName, sizeof record->storeName, row[6]);
    return called(__func__, handle);
}
