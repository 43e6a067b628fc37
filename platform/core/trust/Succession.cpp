#include "platform/core/trust/Succession.h"

#include <map>

#include "platform/core/trust/Digests.h"
#include "platform/support/JsonObject.h"
#include "platform/support/JsonText.h"

namespace tavik {
namespace {

constexpr int kFormatVersion = 1;
constexpr std::size_t kMaxStatements = 16;

Succession readStatement(const JsonObject& object) {
    Succession statement{object.neededText("successor"), object.neededText("signature")};
    if (!isDigestText(statement.successor))
        object.complain("successor", "is not 64 lower-case hexadecimal digits");
    return statement;
}

}  // namespace

std::string successionStatement(const std::string& successor) {
    return "tavik key succession 1\nsuccessor " + successor + "\n";
}

std::string writeSuccessions(const std::vector<Succession>& statements) {
    JsonText json;
    json.number("formatVersion", kFormatVersion);
    const auto write = [&](const Succession& each) {
        json.member("successor", each.successor);
        json.member("signature", each.signature);
    };
    json.objects("successions", statements, write, JsonText::Form::oneLine);
    return json.end();
}

std::vector<Succession> parseSuccessions(std::string_view json) {
    const JsonDocument document = parseJson(json, {kMaxSuccessionBytes, 4});
    const JsonObject object(document, "$");
    object.neededNumber("formatVersion", kFormatVersion, kFormatVersion);
    const JsonValue& values = *object.neededArray("successions");
    if (values.Size() > kMaxStatements)
        object.complain("successions",
                        "has more than " + std::to_string(kMaxStatements) + " entries");
    std::vector<Succession> statements;
    for (const auto& value : values.GetArray())
        statements.push_back(readStatement(object.entry("successions", value, statements.size())));
    return statements;
}

std::vector<std::string> keysSucceededBy(const std::string& key,
                                         const std::vector<Succession>& statements,
                                         const std::vector<std::string>& revoked, Crypto& crypto) {
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
