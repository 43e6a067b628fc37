#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <iterator>

#include "platform/core/status/Status.h"
#include "platform/support/Json.h"
#include "tools/tavik/Changes.h"
#include "tools/tavik/Listing.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

/// The members of the manifest that the table has no row for yet, under their own names.
void addManifest(const std::string& manifest, Table& table) {
    static constexpr std::string_view kShown[] = {"formatVersion", "id",       "name",
                                                  "version",       "products", "updateUrl"};
    const JsonDocument document = parseJson(manifest);
    if (!document.IsObject())
        return;
    for (const auto& member : document.GetObject()) {
        const std::string name(member.name.GetString(), member.name.GetStringLength());
        if (std::find(std::begin(kShown), std::end(kShown), name) != std::end(kShown))
            continue;
        rapidjson::StringBuffer text;
        rapidjson::Writer<rapidjson::StringBuffer> writer(text);
        member.value.Accept(writer);
        if (const std::string value =
                member.value.IsString() ? member.value.GetString() : text.GetString();
            !value.empty())
            table.rows.push_back({name, value});
    }
}

void showText(const InventoryEntry& entry, const ExtensionDetails& details, Run& run) {
    const Language language = run.language();
    Table table;
    table.heads = {entry.row.name, ""};
    table.lines = Table::Lines::whole;  // A path is of use only as a whole.
    const auto add = [&](Word name, const std::string& text) {
        if (!text.empty())
            table.rows.push_back({word(name, language), text});
    };
    add(Word::id, entry.row.id);
    add(Word::version, entry.row.version.text());
    table.rows.push_back({word(Word::state, language), stateCell(entry, language)});
    add(Word::scope, scopeText(entry.scope, language));
    add(Word::products, describeProducts(entry, language));
    add(Word::signer, entry.row.signer);
    add(Word::feed, details.feed);
    add(Word::time, entry.row.installedAt);
    add(Word::user, entry.row.installedBy.name);
    add(Word::folder, entry.folder);
    for (const auto& link : details.links)
        add(Word::links, link);
    add(Word::files, std::to_string(details.files) + " (" + std::to_string(details.bytes) + " B)");
    try {
        addManifest(details.manifest, table);
    } catch (const JsonError&) {
        // Somebody has changed the file: verify tells.
    }
    run.output().table(table);
}

void info(const Arguments& arguments, Run& run) {
    Session& session = run.session();
    const Inventory inventory = session.inventory();
    const InventoryEntry& entry =
        named(inventory, arguments.operands.front(),
              arguments.has(kAllUsersOption.name) ? std::optional(Scope::shared) : std::nullopt);
    const ExtensionDetails details = session.details(entry);
    if (details.failure)
        run.output().failure(*details.failure);
    showText(entry, details, run);
    run.output().object("extension", [&](JsonText& json) {
        writeExtension(json, entry, "");
        json.jsonMember("manifest", details.manifest);
        json.member("folder", entry.folder);
        json.array("links", details.links, [&](const std::string& link) { json.text(link); });
        json.optional("feed", details.feed);
        json.object("installedBy", [&] { writeActor(json, entry.row.installedBy); });
        json.object("files", [&] {
            json.number("count", details.files);
            json.number("bytes", details.bytes);
        });
    });
}

}  // namespace

const Verb kInfoVerb = {"info",
                        "shows everything that is known of an extension",
                        {"NAME", "name or id of an extension", 1, 1},
                        {kAllUsersOption},
                        {{"extension", DocumentMember::Kind::object}},
                        info};

}  // namespace tavik::front
