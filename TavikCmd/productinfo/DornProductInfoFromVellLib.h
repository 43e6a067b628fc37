#pragma once

#include <norva_vell.h>

#include <map>
#include <string>

/// Which languages are installed for an application, by its location on disk. Learnt once, from the
/// installer's product and payload databases; later changes of those are not seen.
///
/// Used from one thread.
class CDornProductInfoFromVellLib {
  public:
    /// The instance, which the first call makes. It lives until finish().
    static CDornProductInfoFromVellLib* getInstance();
    /// Deletes the instance; does nothing where there is none.
    static void finish();

    /// Walks the databases. What cannot be read is left out.
    CDornProductInfoFromVellLib();
    CDornProductInfoFromVellLib(const CDornProductInfoFromVellLib&) = delete;
    CDornProductInfoFromVellLib& operator=(const CDornProductInfoFromVellLib&) = delete;

    /// The languages installed for the application at `key`, "" for an unknown one. True where its
    /// language keys are known, too; an application without them has its languages all the same.
    bool LookupInstalledLanguages(const std::string& key, std::string& languages);

    /// The payload's data under `keys` (ended by null; may be null) as "key,value;key,value;",
    /// nothing escaped. A key without a readable value leaves no trace.
    void SerializeDummyLanguageKeys(velliSession* session, const char* payloadCode,
                                    const char** keys, std::string& out);

    void VellCloseSession(velliSession* mdbSession, velliSession* pdbSession);
    /// Takes the walk's error and progress texts, and drops them.
    void VellLogError(const std::string& text);

  private:
    struct Sessions;

    void readProduct(const Sessions& sessions, const char* productId);
    void readPayload(const Sessions& sessions, const char* payloadId);
    void readLanguages(const Sessions& sessions, const char* payloadCode);
    void readLanguageKeys(const Sessions& sessions, const char* payloadCode,
                          const std::string& key);

    std::map<std::string, std::string> languagesTable;
    std::map<std::string, std::string> languageKeysTable;

    static CDornProductInfoFromVellLib* instance;
};
