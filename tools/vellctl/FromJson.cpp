#include <charconv>
#include <limits>
#include <set>

#include "platform/support/JsonObject.h"
#include "tools/vellctl/ContentJson.h"

namespace tavik::vellctl {
namespace {

using vell::Content;
using Value = JsonValue;

constexpr JsonLimits kLimits{std::size_t{64} << 20, 8};

std::string within(const std::string& place, std::string_view name) {
    return place + "[" + quoteJson(name) + "]";
}

std::string textAt(const Value& value, const std::string& place) {
    if (!value.IsString())
        throwJsonComplaint(place, "is not a string");
    return std::string(viewOf(value));
}

std::string nameAt(const Value& value, const std::string& place) {
    std::string name = textAt(value, place);
    if (name.empty())
        throwJsonComplaint(place, "has an empty name");
    if (name.size() > vell::kMaxNameBytes)
        throwJsonComplaint(
            place, "has a name of more than " + std::to_string(vell::kMaxNameBytes) + " bytes");
    return name;
}

std::string valueAt(const Value& value, const std::string& place) {
    std::string text = textAt(value, place);
    if (text.size() > vell::kMaxValueBytes)
        throwJsonComplaint(place,
                           "has more than " + std::to_string(vell::kMaxValueBytes) + " bytes");
    return text;
}

/// A domain is a number without sign or leading zeros, so that each domain has exactly one name.
int domainAt(const Value& value, const std::string& place) {
    const std::string_view name = viewOf(value);
    int domain = 0;
    const auto end = name.data() + name.size();
    const auto result = std::from_chars(name.data(), end, domain);
    if (result.ec != std::errc() || result.ptr != end || std::to_string(domain) != name ||
        domain < 0)
        throwJsonComplaint(place, "is not a domain: a whole number from 0 on is needed");
    return domain;
}

Content::DataSet readDataSet(const Value& value, const std::string& place, vell::DataKind kind,
                             int domain, const std::string& name) {
    Content::DataSet set{kind, domain, name, {}};
    for (const auto& member : JsonObject(value, place).members()) {
        std::string key = nameAt(member.name, place);
        std::string text = valueAt(member.value, within(place, key));
        set.values.emplace_back(std::move(key), std::move(text));
    }
    return set;
}

void readPcd(const Value& value, const std::string& place, Content& content) {
    for (const auto& domain : JsonObject(value, place).members()) {
        const std::string domainPlace = within(place, viewOf(domain.name));
        const int number = domainAt(domain.name, domainPlace);
        for (const auto& subdomain : JsonObject(domain.value, domainPlace).members()) {
            const std::string name = nameAt(subdomain.name, domainPlace);
            content.dataSets.push_back(readDataSet(subdomain.value, within(domainPlace, name),
                                                   vell::DataKind::pcd, number, name));
        }
    }
}

int readState(const JsonObject& payload) {
    const Value* state = payload.need("state");
    if (!state->IsInt())
        payload.complain("state", "is not a 32-bit whole number");
    return state->GetInt();
}

void readPayloads(const Value& value, const std::string& place, Content& content) {
    for (const auto& payload : JsonObject(value, place).members()) {
        const std::string code = nameAt(payload.name, place);
        const std::string payloadPlace = within(place, code);
        const JsonObject object(payload.value, payloadPlace);
        object.allowOnly({"kind", "state", "data"});
        content.payloads.push_back({code, object.neededText("kind"), readState(object)});
        const Value* data = object.find("data");
        if (data == nullptr)
            continue;
        const std::string dataPlace = object.place("data");
        for (const auto& domain : JsonObject(*data, dataPlace).members()) {
            const std::string domainPlace = within(dataPlace, viewOf(domain.name));
            content.dataSets.push_back(readDataSet(domain.value, domainPlace,
                                                   vell::DataKind::payload,
                                                   domainAt(domain.name, domainPlace), code));
        }
    }
}

void readLists(const Value& value, const std::string& place, Content::ListKind kind,
               const std::set<std::string, std::less<>>& codes, Content& content) {
    for (const auto& list : JsonObject(value, place).members()) {
        Content::PayloadList payloads{kind, nameAt(list.name, place), {}};
        const std::string listPlace = within(place, payloads.name);
        if (!list.value.IsArray())
            throwJsonComplaint(listPlace, "is not an array");
        std::set<std::string> seen;
        for (const auto& entry : list.value.GetArray()) {
            const std::string here = entryPlace(listPlace, payloads.payloads.size());
            const std::string code = textAt(entry, here);
            if (codes.count(code) == 0)
                throwJsonComplaint(here,
                                   "is " + quoteJson(code) + ", which is not among the payloads");
            if (!seen.insert(code).second)
                throwJsonComplaint(here, "is " + quoteJson(code) + " a second time");
            payloads.payloads.push_back(code);
        }
        content.lists.push_back(std::move(payloads));
    }
}

}  // namespace

vell::Content fromJson(std::string_view text) {
    const JsonDocument document = parseJson(text, kLimits);
    const JsonObject root(document, "$");
    root.allowOnly({"pcd", "payloads", "collections", "products"});

    Content content;
    if (const Value* pcd = root.find("pcd"))
        readPcd(*pcd, root.place("pcd"), content);
    if (const Value* payloads = root.find("payloads"))
        readPayloads(*payloads, root.place("payloads"), content);
    std::set<std::string, std::less<>> codes;
    for (const auto& payload : content.payloads)
        codes.insert(payload.code);
    if (const Value* collections = root.find("collections"))
        readLists(*collections, root.place("collections"), Content::ListKind::collection, codes,
                  content);
    if (const Value* products = root.find("products"))
        readLists(*products, root.place("products"), Content::ListKind::product, codes, content);
    return content;
}

}  // namespace tavik::vellctl
