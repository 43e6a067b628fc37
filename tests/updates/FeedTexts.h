#pragma once

#include <cstdint>
#include <string>

namespace tavik::testing {

inline const std::string kDigestA(64, 'a');
inline const std::string kDigestB(64, 'b');

/// An entry of a feed for the product "sketch"; `more` are further members, each with a comma.
inline std::string feedItem(const std::string& id, const std::string& version,
                            const std::string& more = {}, const std::string& sha256 = kDigestA) {
    return R"({"id":")" + id + R"(","version":")" + version + "\"," + more +
           R"("products":[{"name":"sketch","minVersion":"17.0","maxVersion":"18"}],)" +
           R"("url":"p.qpk","size":10,"sha256":")" + sha256 + "\"}";
}

inline std::string feedText(std::int64_t serial, const std::string& items,
                            const std::string& expires = "2099-01-01T00:00:00Z") {
    return R"({"formatVersion":1,"serial":)" + std::to_string(serial) + R"(,"expires":")" +
           expires + R"(","extensions":[)" + items + "]}";
}

}  // namespace tavik::testing
