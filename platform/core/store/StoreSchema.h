#pragma once

#include <string_view>

// The statements of the store's database.

namespace tavik::sql {

inline constexpr const char* kCreateSchema = R"sql(
PRAGMA application_id = 0x5461766B;
PRAGMA user_version = 2;
CREATE TABLE extension (
    idKey           TEXT    NOT NULL PRIMARY KEY,
    id              TEXT    NOT NULL,
    name            TEXT    NOT NULL,
    version         TEXT    NOT NULL,
    storeName       TEXT    NOT NULL,
    updateUrl       TEXT    NOT NULL,
    folder          TEXT    NOT NULL UNIQUE,
    signer          TEXT    NOT NULL,
    state           INTEGER NOT NULL CHECK (state IN (0, 1)),
    requiresAccount INTEGER NOT NULL CHECK (requiresAccount IN (0, 1)),
    installedAt     TEXT    NOT NULL,
    userNumber      INTEGER NOT NULL,
    userName        TEXT    NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE extensionProduct (
    idKey      TEXT    NOT NULL REFERENCES extension ON DELETE CASCADE,
    position   INTEGER NOT NULL,
    product    TEXT    NOT NULL,
    minVersion TEXT    NOT NULL,
    maxVersion TEXT    NOT NULL,
    PRIMARY KEY (idKey, position)
) STRICT, WITHOUT ROWID;
CREATE TABLE history (
    line        INTEGER PRIMARY KEY,
    time        TEXT    NOT NULL,
    operation   TEXT    NOT NULL,
    id          TEXT    NOT NULL,
    name        TEXT    NOT NULL,
    fromVersion TEXT    NOT NULL,
    toVersion   TEXT    NOT NULL,
    userNumber  INTEGER NOT NULL,
    userName    TEXT    NOT NULL,
    signer      TEXT    NOT NULL
) STRICT;
CREATE TABLE head (linkedProducts TEXT NOT NULL) STRICT;
INSERT INTO head VALUES ('');
)sql";

inline constexpr std::string_view kSelectExtensions =
    "SELECT idKey, id, name, version, storeName, updateUrl, folder, signer, state,"
    " requiresAccount, installedAt, userNumber, userName FROM extension";
/// The same of the form that was changed in place.
inline constexpr std::string_view kSelectEarlierExtensions =
    "SELECT idKey, id, name, version, storeName, updateUrl, folder, signer, state,"
    " requiresAccount, '', -1, '' FROM extension";
inline constexpr std::string_view kSelectEarlierLinkedProducts =
    "SELECT linkedProducts FROM settlement";
inline constexpr std::string_view kSelectProducts =
    "SELECT idKey, product, minVersion, maxVersion FROM extensionProduct";
inline constexpr std::string_view kOfOneExtension = " WHERE idKey = ?1";
inline constexpr std::string_view kByKey = " ORDER BY idKey";
inline constexpr std::string_view kByKeyAndPosition = " ORDER BY idKey, position";
inline constexpr std::string_view kCountExtensions = "SELECT count(*) FROM extension";
inline constexpr std::string_view kSelectList =
    "SELECT idKey, id, name, version, storeName, state FROM extension ORDER BY idKey";
inline constexpr std::string_view kSelectMemberships =
    "SELECT idKey, product FROM extensionProduct ORDER BY idKey, position";
inline constexpr std::string_view kSelectFolders = "SELECT idKey, id, folder FROM extension";
inline constexpr std::string_view kPutExtension =
    "INSERT INTO extension VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)"
    " ON CONFLICT (idKey) DO UPDATE SET id = ?2, name = ?3, version = ?4, storeName = ?5,"
    " updateUrl = ?6, folder = ?7, signer = ?8, state = ?9, requiresAccount = ?10,"
    " installedAt = ?11, userNumber = ?12, userName = ?13";
inline constexpr std::string_view kDeleteProducts = "DELETE FROM extensionProduct WHERE idKey = ?1";
inline constexpr std::string_view kInsertProduct =
    "INSERT INTO extensionProduct VALUES (?1, ?2, ?3, ?4, ?5)";
inline constexpr std::string_view kDeleteExtension = "DELETE FROM extension WHERE idKey = ?1";
inline constexpr std::string_view kSelectLinkedProducts = "SELECT linkedProducts FROM head";
inline constexpr std::string_view kSetLinkedProducts = "UPDATE head SET linkedProducts = ?1";
inline constexpr std::string_view kSetState = "UPDATE extension SET state = ?2 WHERE idKey = ?1";
inline constexpr std::string_view kAddHistory =
    "INSERT INTO history (time, operation, id, name, fromVersion, toVersion, userNumber,"
    " userName, signer) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)";
/// Newer than the other tables. An earlier version goes on without it and sees the newest lines.
inline constexpr const char* kCreateHistoryBlocks = R"sql(
CREATE TABLE IF NOT EXISTS historyBlock (
    lastLine INTEGER PRIMARY KEY,
    size     INTEGER NOT NULL,
    packed   BLOB    NOT NULL
) STRICT;
)sql";
inline constexpr std::string_view kHasHistoryBlocks =
    "SELECT count(*) FROM sqlite_schema WHERE name = 'historyBlock'";
inline constexpr std::string_view kCountHistoryRows = "SELECT count(*) FROM history";
inline constexpr std::string_view kSelectOldestLines =
    "SELECT json_group_array(json_array(line, time, operation, id, name, fromVersion, toVersion,"
    " userNumber, userName, signer)), max(line)"
    " FROM (SELECT * FROM history ORDER BY line LIMIT ?1)";
inline constexpr std::string_view kAddHistoryBlock = "INSERT INTO historyBlock VALUES (?1, ?2, ?3)";
inline constexpr std::string_view kDropPackedLines = "DELETE FROM history WHERE line <= ?1";
inline constexpr std::string_view kTrimHistory =
    "DELETE FROM historyBlock WHERE lastLine <= (SELECT max(line) FROM history) - ?1";
inline constexpr std::string_view kSelectHistoryBlocks =
    "SELECT size, packed FROM historyBlock ORDER BY lastLine";
inline constexpr std::string_view kSelectPackedLines =
    "SELECT value ->> 1, value ->> 2, value ->> 3, value ->> 4, value ->> 5, value ->> 6,"
    " value ->> 7, value ->> 8, value ->> 9 FROM json_each(?1) ORDER BY value ->> 0";
inline constexpr std::string_view kSelectHistory =
    "SELECT time, operation, id, name, fromVersion, toVersion, userNumber, userName, signer"
    " FROM history ORDER BY line";

}  // namespace tavik::sql
