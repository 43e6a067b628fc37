#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <map>

#include "tools/vellctl/ContentJson.h"

namespace tavik::vellctl {
namespace {

using vell::Content;
using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void writeText(Writer& writer, std::string_view text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void writeValues(Writer& writer, const Content::DataSet& set) {
    writer.StartObject();
    for (const auto& [key, value] : set.values) {
        writeText(writer, key);
        writeText(writer, value);
    }
    writer.EndObject();
}

void writePcd(Writer& writer, const Content& content) {
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
    writer.Key("pcd");
    writer.StartObject();
    for (const int domain : domains) {
        writeText(writer, std::to_string(domain));
        writer.StartObject();
        for (const auto* set : subdomains[domain]) {
            writeText(writer, set->name);
            writeValues(writer, *set);
        }
        writer.EndObject();
    }
    writer.EndObject();
}

void writePayloads(Writer& writer, const Content& content) {
    if (content.payloads.empty())
        return;
    std::map<std::string_view, std::vector<const Content::DataSet*>> dataOf;
    for (const auto& set : content.dataSets)
        if (set.kind == vell::DataKind::payload)
            dataOf[set.name].push_back(&set);
    writer.Key("payloads");
    writer.StartObject();
    for (const auto& payload : content.payloads) {
        writeText(writer, payload.code);
        writer.StartObject();
        writer.Key("kind");
        writeText(writer, payload.kind);
        writer.Key("state");
        writer.Int(payload.state);
        if (const auto data = dataOf.find(payload.code); data != dataOf.end()) {
            writer.Key("data");
            writer.StartObject();
            for (const auto* set : data->second) {
                writeText(writer, std::to_string(set->domain));
                writeValues(writer, *set);
            }
            writer.EndObject();
        }
        writer.EndObject();
    }
    writer.EndObject();
}

void writeLists(Writer& writer, const Content& content, Content::ListKind kind,
                const char* section) {
    bool open = false;
    for (const auto& list : content.lists) {
        if (list.kind != kind)
            continue;
        if (!open) {
            writer.Key(section);
            writer.StartObject();
            open = true;
        }
        writeText(writer, list.name);
        writer.StartArray();
        for (const auto& code : list.payloads)
            writeText(writer, code);
        writer.EndArray();
    }
    if (open)
        writer.EndObject();
}

}  // namespace

std::string toJson(const Content& content) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    writePcd(writer, content);
    writePayloads(writer, content);
    writeLists(writer, content, Content::ListKind::collection, "collections");
    writeLists(writer, content, Content::ListKind::product, "products");
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace tavik::vellctl
