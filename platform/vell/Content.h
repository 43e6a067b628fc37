#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/support/Sqlite.h"
#include "platform/vell/DataWriter.h"

namespace tavik::vell {

/// All that an installer database holds, in the order in which it was written.
struct Content {
    /// The keys and values of a pcd subdomain, or those of a payload in one domain.
    struct DataSet {
        DataKind kind;
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

/// Reads everything from the database, as it is at one moment. Throws SqliteError.
Content load(Database& database);

/// Replaces all that the database holds, in one transaction; makes the tables where there are none.
/// Throws SqliteError.
void replace(Database& database, const Content& content);

}  // namespace tavik::vell
