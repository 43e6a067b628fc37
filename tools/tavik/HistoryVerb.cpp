#include "platform/core/package/Manifest.h"
#include "platform/core/session/NameSearch.h"
#include "platform/support/UtcTime.h"
#include "tools/tavik/Changes.h"
#include "tools/tavik/Listing.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

/// The id that the name means: of what is installed, or was.
std::string idOf(const std::vector<StoreHistoryLine>& lines, const std::string& name) {
    std::vector<NamedExtension> known;
    for (auto each = lines.rbegin(); each != lines.rend(); ++each)
        known.push_back({each->line.id, each->line.name});
    return toIdKey(known[findByName(known, name)].id);
}

std::vector<StoreHistoryLine> chosen(const Arguments& arguments, Run& run) {
    const auto lines = run.session().history();
    const std::string since = arguments.value("since").value_or("");
    const std::string id =
        arguments.operands.empty() ? "" : idOf(lines, arguments.operands.front());
    std::vector<StoreHistoryLine> found;
    for (const auto& each : lines)
        // Times in this form are ordered as their texts are, also the beginnings of such texts.
        if (each.line.time >= since && (id.empty() || toIdKey(each.line.id) == id))
            found.push_back(each);
    return found;
}

/// Whether the text is a time, or as much of one as says a year at least.
bool isBeginningOfTime(const std::string& text) {
    const std::string any = "2000-01-01T00:00:00Z";
    constexpr std::size_t kYear = 4;
    return text.size() >= kYear && text.size() <= any.size() &&
           parseUtcTime(text + any.substr(text.size()));
}

void history(const Arguments& arguments, Run& run) {
    const std::string since = arguments.value("since").value_or("2000");
    if (!isBeginningOfTime(since))
        throw UsageError("\"" + since + "\" is no date such as 2027-01-31 or 2027-01-31T12:00:00Z");
    const auto lines = chosen(arguments, run);
    Table table;
    for (const Word head :
         {Word::time, Word::change, Word::id, Word::version, Word::scope, Word::user, Word::signer})
        table.heads.emplace_back(word(head, run.language()));
    for (const auto& [line, scope] : lines) {
        const bool isStep = !line.from.empty() && !line.to.empty() && line.from != line.to;
        table.rows.push_back(
            {line.time, operationText(line.operation, run.language()), line.id,
             isStep ? line.from + " -> " + line.to : (line.to.empty() ? line.from : line.to),
             scopeText(scope, run.language()), line.by.name, shortSigner(line.signer)});
    }
    run.output().table(table);
    run.output().objects("changes", lines, [](JsonText& json, const StoreHistoryLine& each) {
        json.member("time", each.line.time);
        json.member("operation", each.line.operation);
        json.optional("id", each.line.id);
        json.optional("name", each.line.name);
        json.optional("from", each.line.from);
        json.optional("to", each.line.to);
        json.member("scope", scopeName(each.scope));
        json.object("user", [&] { writeActor(json, each.line.by); });
        json.optional("signer", each.line.signer);
    });
}

}  // namespace

const Verb kHistoryVerb = {"history",
                           "lists the changes of both stores",
                           {"NAME", "name or id of an extension", 0, 1},
                           {{"since", "DATE", "only changes from then on, e.g. 2027-01-31"}},
                           {{"changes", DocumentMember::Kind::list}},
                           history};

}  // namespace tavik::front
