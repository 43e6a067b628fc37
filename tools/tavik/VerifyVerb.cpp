#include <algorithm>

#include "tools/tavik/Problems.h"

namespace tavik::front {
namespace {

void verify(const Arguments& arguments, Run& run) {
    Session& session = run.session();
    session.setInterrupted(Session::Interrupted::stays);
    const Inventory inventory = session.inventory();
    for (const Error& error : inventory.failures())
        run.output().failure(error);
    std::vector<std::string> wanted;
    for (const std::string& name : arguments.operands)
        run.attempt([&] { wanted.push_back(named(inventory, name).row.id); });

    auto [problems, failures] = findProblems(inventory, session.products(), session.locations());
    const auto isWanted = [&](const std::string& id) {
        return arguments.operands.empty() ||
               std::find(wanted.begin(), wanted.end(), id) != wanted.end();
    };
    for (const auto& failure : failures)
        if (isWanted(failure.id))
            run.output().failure(failure.error);
    problems.erase(
        std::remove_if(problems.begin(), problems.end(),
                       [&](const StoreProblem& problem) { return !isWanted(problem.id); }),
        problems.end());
    showProblems("problems", problems, run);
    if (!problems.empty())
        run.output().pending();
}

}  // namespace

const Verb kVerifyVerb = {"verify",
                          "compares both stores with what was recorded; changes nothing",
                          {"NAME", "names or ids of extensions; none: everything", 0, kAny},
                          {},
                          {{"problems", DocumentMember::Kind::list}},
                          verify};

}  // namespace tavik::front
