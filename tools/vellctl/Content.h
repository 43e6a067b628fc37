#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/support/Sqlite.h"
#include "platform/vell/DataWriter.h"

namespace tavik::vellctl {

/// All that an installer database holds, in the order in which it was written.
struct Content {
    /// The keys and values of a pcd subdomain, or those of a payload in one domain.
    struct DataSet {
        vell::DataKind kind;
        int domain;
        std::string name;
        std::vector<std::pair<std::string, std::string>> values;
    };
    struct Payload {
        std::string code;
        std::string kind;
        int state;
    };
    enum class ListKind { collection, product };
    /// The payloads of a collection or a product, by their codes.
    struct PayloadList {
        ListKind kind;
        std::string name;
        std::vector<std::string> payloads;
    };

    std::vector<DataSet> dataSets;
    std::vector<Payload> payloads;
    std::vector<PayloadList> lists;
};

/// Reads the JSON form. Throws JsonError, which names the place of what it does not take: unknown
/// or missing members, other types, empty names, domains that are no number, a payload that is
/// listed twice or not at all among the payloads.
Content fromJson(std::string_view text);

/// The JSON form, without sections that would be empty.
std::string toJson(const Content& content);

/// Everything in the database. Throws SqliteError.
Content load(Database& database);

/// Puts the content in the place of what the database holds, in one transaction.
void replace(Database& database, const Content& content);

}  // namespace tavik::vellctl
