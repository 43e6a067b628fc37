#include <algorithm>
#include <map>

#include "platform/support/JsonText.h"
#include "tools/vellctl/ContentJson.h"

namespace tavik::vellctl {
namespace {

using vell::Content;

void writeValues(JsonText& json, const std::string& name, const Content::DataSet& set) {
    json.object(name, [&] {
        for (const auto& [key, value] : set.values)
            json.member(key, value);
    });
}

void writePcd(JsonText& json, const Content& content) {
    std::vector<int> domains;  // in the order of their first subdomains
    std::map<int, std::vector<const Content::DataSet*>> subdomains;
    for (const auto& set : content.dataSets) {
        if (set.kind != vell::DataKind::pcd)
            continue;
        auto& ofDomain = subdomains[set.domain];
        if (ofDomain.empty())
            domains.push_back(set.domain);
        ofDomain.push_back(&set);
    }
    if (domains.empty())
        return;
    json.object("pcd", [&] {
        for (const int domain : domains)
            json.object(std::to_string(domain), [&] {
                for (const auto* set : subdomains[domain])
                    writeValues(json, set->name, *set);
            });
    });
}

void writePayloads(JsonText& json, const Content& content) {
    if (content.payloads.empty())
        return;
    std::map<std::string_view, std::vector<const Content::DataSet*>> dataOf;
    for (const auto& set : content.dataSets)
        if (set.kind == vell::DataKind::payload)
            dataOf[set.name].push_back(&set);
    const auto write = [&](const auto& payload) {
        json.member("kind", payload.kind);
        json.number("state", payload.state);
        if (const auto data = dataOf.find(payload.code); data != dataOf.end())
            json.object("data", [&] {
                for (const auto* set : data->second)
                    writeValues(json, std::to_string(set->domain), *set);
            });
    };
    json.object("payloads", [&] {
        for (const auto& payload : content.payloads)
            json.object(payload.code, [&] { write(payload); });
    });
}

void writeLists(JsonText& json, const Content& content, Content::ListKind kind,
                const char* section) {
    const auto isOfKind = [kind](const auto& list) { return list.kind == kind; };
    if (std::none_of(content.lists.begin(), content.lists.end(), isOfKind))
        return;
    json.object(section, [&] {
        for (const auto& list : content.lists)
            if (isOfKind(list))
                json.array(list.name, list.payloads, [&](const auto& code) { json.text(code); });
    });
}

}  // namespace

std::string toJson(const Content& content) {
    JsonText json;
    writePcd(json, content);
    writePayloads(json, content);
    writeLists(json, content, Content::ListKind::collection, "collections");
    writeLists(json, content, Content::ListKind::product, "products");
    return json.end();
}

}  // namespace tavik::vellctl
