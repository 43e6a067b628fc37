#include "productinfo/DornProductInfoFromVellLib.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <optional>

#include "framework/VellFramework.h"

namespace {

constexpr int kNamedKeys = 0;
constexpr int kLanguageKeys = 6;
constexpr std::size_t kMaxKeyLength = 4095;

/// The framework's entries that the walk uses; null where the framework lacks one.
struct Entries {
    decltype(&::mdbOpenSessionNoCreate) mdbOpen = VELL_ENTRY(mdbOpenSessionNoCreate);
    decltype(&::pdbOpenSessionNoCreate) pdbOpen = VELL_ENTRY(pdbOpenSessionNoCreate);
    decltype(&::mdbGetProductIDList) productIDs = VELL_ENTRY(mdbGetProductIDList);
    decltype(&::mdbGetProduct) product = VELL_ENTRY(mdbGetProduct);
    decltype(&::mdbGetProductPayloads) productPayloads = VELL_ENTRY(mdbGetProductPayloads);
    decltype(&::mdbGetPayload) payload = VELL_ENTRY(mdbGetPayload);
    decltype(&::pdbGetPayloadData) data = VELL_ENTRY(pdbGetPayloadData);
    decltype(&::pdbGetPayloadDataKeys) dataKeys = VELL_ENTRY(pdbGetPayloadDataKeys);
    decltype(&::mdbCloseSession) mdbClose = VELL_ENTRY(mdbCloseSession);
    decltype(&::pdbCloseSession) pdbClose = VELL_ENTRY(pdbCloseSession);
};

const Entries& entries() {
    static const Entries bound;
    return bound;
}

/// Calls an entry; one that is missing has failed.
template <typename Entry, typename... Arguments>
bool succeeds(Entry entry, Arguments... arguments) {
    return entry != nullptr && entry(arguments...) == 0;
}

std::optional<std::string> readData(velliSession* session, const char* payloadCode, int selector,
                                    const char* key) {
    const char* value = nullptr;
    if (!succeeds(entries().data, session, payloadCode, selector, key, &value) || value == nullptr)
        return std::nullopt;
    return value;
}

/// The configuration path up to the first "/" beyond the length of the install directory; the
/// character at that length is the separator behind the directory and is passed over.
std::string applicationKey(const std::string& configPath, const std::string& installDir) {
    const std::size_t end = configPath.find('/', installDir.size() + 1);
    return configPath.substr(0, end).substr(0, kMaxKeyLength);
}

bool hasText(const std::map<std::string, std::string>& table, const std::string& key) {
    const auto found = table.find(key);
    return found != table.end() && !found->second.empty();
}

/// Goes through serialised language keys and looks each key up in the languages. Neither outcome
/// has an effect: what a caller learns is the languages as they are stored.
void compareLanguageKeys(const std::string& serialised, const std::string& languages) {
    std::size_t start = 0;
    while (start < serialised.size()) {
        const std::size_t end = serialised.find(';', start);
        const std::string pair = serialised.substr(start, end - start);
        const std::size_t left = end == std::string::npos ? 0 : serialised.size() - end - 1;
        start = serialised.size() - left;

        const std::size_t comma = std::min(pair.find(','), pair.size());
        const std::string key = pair.substr(0, comma);
        // One less than what is left behind the pair; with nothing left that is no limit at all.
        const std::string value = pair.substr(std::min(comma + 1, pair.size()), left - 1);
        if (languages.find(key) == std::string::npos)
            continue;
    }
}

}  // namespace

/// The sessions of one walk, closed at its end however it ends.
struct CDornProductInfoFromVellLib::Sessions {
    explicit Sessions(CDornProductInfoFromVellLib& owner) : walk(owner) {}
    Sessions(const Sessions&) = delete;
    Sessions& operator=(const Sessions&) = delete;
    ~Sessions() { walk.VellCloseSession(mdb, pdb); }

    CDornProductInfoFromVellLib& walk;
    velliSession* mdb = nullptr;
    velliSession* pdb = nullptr;
};

CDornProductInfoFromVellLib* CDornProductInfoFromVellLib::instance = nullptr;

CDornProductInfoFromVellLib* CDornProductInfoFromVellLib::getInstance() {
    if (instance == nullptr)
        instance = new CDornProductInfoFromVellLib();
    return instance;
}

void CDornProductInfoFromVellLib::finish() {
    delete instance;
    instance = nullptr;
}

CDornProductInfoFromVellLib::CDornProductInfoFromVellLib() {
    Sessions sessions(*this);
    if (!succeeds(entries().mdbOpen, &sessions.mdb)) {
        VellLogError("mdbOpenSessionNoCreate");
        return;
    }
    if (!succeeds(entries().pdbOpen, &sessions.pdb)) {
        VellLogError("pdbOpenSessionNoCreate");
        return;
    }
    const char** productIds = nullptr;
    if (!succeeds(entries().productIDs, sessions.mdb, &productIds)) {
        VellLogError("mdbGetProductIDList");
        return;
    }
    for (; productIds != nullptr && *productIds != nullptr; ++productIds)
        readProduct(sessions, *productIds);
}

void CDornProductInfoFromVellLib::readProduct(const Sessions& sessions, const char* productId) {
    velliProduct* product = nullptr;
    if (!succeeds(entries().product, sessions.mdb, productId, &product)) {
        VellLogError("mdbGetProduct");
        return;
    }
    const char** payloadIds = nullptr;
    if (!succeeds(entries().productPayloads, sessions.mdb, product, &payloadIds)) {
        VellLogError("mdbGetProductPayloads failed!");
        return;
    }
    for (; payloadIds != nullptr && *payloadIds != nullptr; ++payloadIds)
        readPayload(sessions, *payloadIds);
}

void CDornProductInfoFromVellLib::readPayload(const Sessions& sessions, const char* payloadId) {
    velliPayload* payload = nullptr;
    if (!succeeds(entries().payload, sessions.mdb, payloadId, &payload) || payload == nullptr) {
        VellLogError("mdbGetPayload");
        return;
    }
    if (payload->kind != nullptr && std::strcmp(payload->kind, "normal") == 0)
        readLanguages(sessions, payload->code);
}

void CDornProductInfoFromVellLib::readLanguages(const Sessions& sessions, const char* payloadCode) {
    const auto languages = readData(sessions.pdb, payloadCode, kNamedKeys, "installedLanguages");
    if (!languages)
        return;
    const auto configPath = readData(sessions.pdb, payloadCode, kNamedKeys, "QRTConfigPath");
    if (!configPath)
        return;
    const auto installDir = readData(sessions.pdb, payloadCode, kNamedKeys, "INSTALLDIR");
    if (!installDir || configPath->find(*installDir) == std::string::npos)
        return;

    const std::string key = applicationKey(*configPath, *installDir);
    if (!hasText(languagesTable, key)) {
        VellLogError("Got installed languages for key (" + key + "), with value (" + *languages +
                     ").");
        languagesTable[key] = *languages;
    }
    readLanguageKeys(sessions, payloadCode, key);
}

void CDornProductInfoFromVellLib::readLanguageKeys(const Sessions& sessions,
                                                   const char* payloadCode,
                                                   const std::string& key) {
    // One entry more than the framework may fill, so that the list ends in any case.
    std::array<const char*, VELL_PAYLOAD_KEYS_MAX + 1> keys{};
    if (!succeeds(entries().dataKeys, sessions.pdb, payloadCode, kLanguageKeys, keys.data()))
        return;
    std::string serialised;
    SerializeDummyLanguageKeys(sessions.pdb, payloadCode, keys.data(), serialised);
    if (!serialised.empty() && !hasText(languageKeysTable, key))
        languageKeysTable[key] = serialised;
}

bool CDornProductInfoFromVellLib::LookupInstalledLanguages(const std::string& key,
                                                           std::string& languages) {
    languages.clear();
    const auto known = languagesTable.find(key);
    if (known == languagesTable.end())
        return false;
    languages = known->second;
    const auto keys = languageKeysTable.find(key);
    if (keys == languageKeysTable.end())
        return false;
    compareLanguageKeys(keys->second, languages);
    return true;
}

void CDornProductInfoFromVellLib::SerializeDummyLanguageKeys(velliSession* session,
                                                             const char* payloadCode,
                                                             const char** keys, std::string& out) {
    out.clear();
    if (keys == nullptr)
        return;
    for (; *keys != nullptr; ++keys)
        if (const auto value = readData(session, payloadCode, kLanguageKeys, *keys))
            out += *keys + ("," + *value) + ";";
}

void CDornProductInfoFromVellLib::VellCloseSession(velliSession* mdbSession,
                                                   velliSession* pdbSession) {
    if (entries().mdbClose != nullptr)
        entries().mdbClose(mdbSession);
    if (entries().pdbClose != nullptr)
        entries().pdbClose(pdbSession);
}

void CDornProductInfoFromVellLib::VellLogError(const std::string& /*text*/) {}
