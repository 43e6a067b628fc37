#include "platform/core/trust/Succession.h"

#include <algorithm>
#include <map>

#include "platform/support/Json.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kMaxStatements = 16;
constexpr std::size_t kDigestDigits = 64;

Succession readStatement(const rapidjson::Value& value, const std::string& place) {
    if (!value.IsObject())
        throw JsonError(place + " is not an object");
    Succession statement;
    statement.successor = requiredText(value, "successor", place);
    if (statement.successor.size() != kDigestDigits ||
        statement.successor.find_first_not_of("0123456789abcdef") != std::string::npos)
        throw JsonError(place + ".successor is not 64 lower-case hexadecimal digits");
    statement.signature = requiredText(value, "signature", place);
    return statement;
}

}  // namespace

std::string successionStatement(const std::string& successor) {
    return "tavik key succession 1\nsuccessor " + successor + "\n";
}

std::string writeSuccessions(const std::vector<Succession>& statements) {
    std::string json =
        "{\n  \"formatVersion\": " + std::to_string(kFormatVersion) + ",\n  \"successions\": [";
    const char* separator = "\n";
    for (const Succession& each : statements) {
        json += std::string(separator) + "    { \"successor\": " + quoteJson(each.successor) +
                ", \"signature\": " + quoteJson(each.signature) + " }";
        separator = ",\n";
    }
    return json + "\n  ]\n}\n";
}

std::vector<Succession> parseSuccessions(std::string_view json) {
    const rapidjson::Document document = parseJson(json, {kMaxSuccessionBytes, 4});
    if (!document.IsObject())
        throw JsonError("$ is not an object");
    const rapidjson::Value* format = findMember(document, "formatVersion");
    if (format == nullptr || !format->IsInt() || format->GetInt() != kFormatVersion)
        throw JsonError("$.formatVersion is not " + std::to_string(kFormatVersion));
    const rapidjson::Value* values = findMember(document, "successions");
    if (values == nullptr || !values->IsArray() || values->Size() > kMaxStatements)
        throw JsonError("$.successions is not an array of at most " +
                        std::to_string(kMaxStatements) + " entries");
    std::vector<Succession> statements;
    for (const auto& value : values->GetArray())
        statements.push_back(
            readStatement(value, "$.successions[" + std::to_string(statements.size()) + "]"));
    return statements;
}

std::vector<std::string> keysSucceededBy(const std::string& key,
                                         const std::vector<Succession>& statements,
                                         const std::vector<std::string>& revoked, Crypto& crypto) {
    const auto isIn = [](const std::vector<std::string>& list, const std::string& fingerprint) {
        return std::find(list.begin(), list.end(), fingerprint) != list.end();
    };
    std::multimap<std::string, std::string> namedBy;  // by the successor
    for (const Succession& each : statements) {
        KeyFinding finding = crypto.findSigner(successionStatement(each.successor), each.signature);
        if (!finding.fault.empty())
            throw JsonError("the statement for key " + each.successor + " " + finding.fault);
        if (!isIn(revoked, finding.fingerprint))
            namedBy.emplace(each.successor, std::move(finding.fingerprint));
    }
    std::vector<std::string> keys;
    std::vector<std::string> next{key};
    while (!next.empty()) {
        const auto [first, last] = namedBy.equal_range(next.back());
        next.pop_back();
        for (auto named = first; named != last; ++named) {
            // Two keys may name each other.
            if (named->second == key || isIn(keys, named->second))
                continue;
            keys.push_back(named->second);
            next.push_back(named->second);
        }
    }
    return keys;
}

}  // namespace tavik
