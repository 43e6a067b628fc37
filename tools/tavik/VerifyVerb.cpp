#include <algorithm>

#include "platform/core/session/Verification.h"
#include "tools/tavik/Run.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

/// In the order of the enumeration, as documents have them.
constexpr const char* kNames[] = {"noFolder", "noRow", "noLink", "wrongLink"};

const char* nameOf(StoreProblem::Kind kind) {
    return kNames[static_cast<std::size_t>(kind)];
}

void verify(const Arguments& arguments, Run& run) {
    Session& session = run.session();
    const Inventory inventory = session.inventory();
    for (const Error& error : inventory.failures())
        run.output().failure(error);
    std::vector<std::string> wanted;
    for (const std::string& name : arguments.operands)
        run.attempt([&] { wanted.push_back(named(inventory, name).row.id); });

    auto problems = findProblems(inventory, session.products(), session.locations());
    if (!arguments.operands.empty())
        problems.erase(std::remove_if(problems.begin(), problems.end(),
                                      [&](const StoreProblem& problem) {
                                          return std::find(wanted.begin(), wanted.end(),
                                                           problem.id) == wanted.end();
                                      }),
                       problems.end());
    Table table;
    for (const Word head : {Word::problem, Word::id, Word::path})
        table.heads.emplace_back(word(head, run.language()));
    for (const StoreProblem& problem : problems)
        table.rows.push_back({nameOf(problem.kind), problem.id, problem.path});
    run.output().table(table);
    run.output().objects("problems", problems, [](JsonText& json, const StoreProblem& problem) {
        json.optional("id", problem.id);
        json.member("path", problem.path);
        json.member("problem", nameOf(problem.kind));
    });
    if (!problems.empty())
        run.output().pending();
}

}  // namespace

const Verb kVerifyVerb = {"verify",
                          "compares rows, folders and links of both stores; changes nothing",
                          {"NAME", "names or ids of extensions; none: everything", 0, kAny},
                          {},
                          {{"problems", DocumentMember::Kind::list}},
                          verify};

}  // namespace tavik::front
