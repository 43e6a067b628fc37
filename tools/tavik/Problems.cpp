#include "tools/tavik/Problems.h"

#include "tools/tavik/Words.h"

namespace tavik::front {

const char* problemName(StoreProblem::Kind kind) noexcept {
    // In the order of the enumeration.
    static constexpr const char* kNames[] = {"missing",   "changed",  "extra", "rights",
                                             "noList",    "noFolder", "noRow", "noLink",
                                             "wrongLink", "database"};
    return kNames[static_cast<std::size_t>(kind)];
}

void showProblems(const char* member, const std::vector<StoreProblem>& problems, Run& run) {
    Table table;
    for (const Word head : {Word::problem, Word::id, Word::path})
        table.heads.emplace_back(word(head, run.language()));
    for (const StoreProblem& problem : problems)
        table.rows.push_back({problemName(problem.kind), problem.id, problem.path});
    run.output().table(table);
    run.output().objects(member, problems, [](JsonText& json, const StoreProblem& problem) {
        json.optional("id", problem.id);
        json.member("path", problem.path);
        json.member("problem", problemName(problem.kind));
    });
}

}  // namespace tavik::front
