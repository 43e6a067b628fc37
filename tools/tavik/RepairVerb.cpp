#include <algorithm>

#include "platform/core/disk/StoreFolder.h"
#include "tools/tavik/Problems.h"

namespace tavik::front {
namespace {

std::vector<StoreProblem> problemsNow(Run& run) {
    return findProblems(run.session().inventory(), run.session().products(),
                        run.session().locations());
}

bool isSame(const StoreProblem& a, const StoreProblem& b) {
    return a.kind == b.kind && a.path == b.path;
}

/// Those of `problems` that are not among `others`.
std::vector<StoreProblem> without(const std::vector<StoreProblem>& problems,
                                  const std::vector<StoreProblem>& others) {
    std::vector<StoreProblem> rest;
    for (const StoreProblem& problem : problems)
        if (std::none_of(others.begin(), others.end(),
                         [&](const StoreProblem& other) { return isSame(problem, other); }))
            rest.push_back(problem);
    return rest;
}

/// What the stores' own repair takes care of; the rest must be installed again, or looked at.
bool isRepairable(const StoreProblem& problem) {
    using Kind = StoreProblem::Kind;
    return problem.kind == Kind::noRow || problem.kind == Kind::noLink ||
           problem.kind == Kind::wrongLink || problem.kind == Kind::database;
}

void repair(const Arguments& arguments, Run& run) {
    const auto before = problemsNow(run);
    std::vector<StoreProblem> left;
    std::vector<StoreProblem> repaired;
    if (arguments.has(kDryRunOption.name)) {
        for (const StoreProblem& problem : before)
            (isRepairable(problem) ? repaired : left).push_back(problem);
        if (!repaired.empty())
            run.output().pending();
    } else {
        for (const StoreLocation& location : run.session().locations())
            run.attempt([&] {
                if (StoreFolder::open(location))
                    run.session().repair(location.scope);
            });
        left = problemsNow(run);
        repaired = without(before, left);
    }
    for (const StoreProblem& problem : repaired)
        run.output().line(std::string("+ ") + problemName(problem.kind) + " " + problem.path,
                          Tone::good);
    run.output().objects("repairs", repaired, [](JsonText& json, const StoreProblem& problem) {
        json.optional("id", problem.id);
        json.member("path", problem.path);
        json.member("done", problemName(problem.kind));
    });
    showProblems("left", left, run);
}

}  // namespace

const Verb kRepairVerb = {
    "repair",
    "brings both stores in order; what it cannot repair is named",
    {nullptr, nullptr, 0, 0},
    {kDryRunOption},
    {{"repairs", DocumentMember::Kind::list}, {"left", DocumentMember::Kind::list}},
    repair};

}  // namespace tavik::front
