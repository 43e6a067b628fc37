#pragma once

#include <norva_vell.h>

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/support/Sqlite.h"
#include "platform/vell/DataWriter.h"
#include "platform/vell/DomainSnapshot.h"
#include "platform/vell/Kept.h"

/// A product that is known to exist; the texts are the session's.
struct velliProduct {
    const char* id;
};

namespace tavik::vell {

/// One reader of an installer database. Every text and list that comes out belongs to the session.
/// Throws Failure and SqliteError.
class Session {
  public:
    /// Opens the database that is currently in use, for reading.
    Session();

    /// Null where the domain has no subdomains.
    const char** subdomains(int domain);
    const char** keys(DataKind kind, int domain, const char* name);
    const char* value(DataKind kind, int domain, const char* name, const char* key);
    void set(int domain, const char* subdomain, const char* key, const char* value);
    void remove(int domain, const char* subdomain, const char* key);

    /// A payload list's entries that are in the install state; null where there are none.
    const char** collectionPayloads(const char* collection, int state);
    const char** payloads(int state);
    velliPayload* payload(const char* id);
    const char** productIds();
    velliProduct* product(const char* id);
    const char** productPayloads(const velliProduct& product);

  private:
    /// The statement, prepared at its first use. `sql` is one of the constants.
    Statement& prepared(const char* sql);
    const DomainSnapshot::Subdomain* snapshotOf(DataKind kind, int domain, const char* name);
    template <typename Change>
    void write(Change change);

    std::string path_;
    Database database_;
    Kept kept_;
    std::unordered_map<const char*, Statement> statements_;
    std::map<int, DomainSnapshot> snapshots_;
    std::int64_t dataVersion_ = 0;
};

}  // namespace tavik::vell

/// The handle of the C interface.
struct velliSession : tavik::vell::Session {};
