// What a repair does, in this order:
//
// 1. Each store's own repair: it finishes an interrupted change, builds a lost or damaged database
//    from the installed folders, and makes links anew.
// 2. Extensions whose files are missing or changed, or whose list of files is missing: the very
//    version that is installed is fetched from the feed of its updates and installed again. Files
//    that the package does not have are set aside first: a user may miss them. A list is never made
//    from the files that are there, because nobody knows whether these are the right ones.
// 3. Both stores are looked at again. What is left is named. An extension whose files could not be
//    fetched is a failure that says so, and so is a link, a folder or a database that is not as the
//    rows say. A file that nobody installed does no harm and stays.

#include <algorithm>

#include "platform/core/disk/StoreFolder.h"
#include "platform/core/status/Status.h"
#include "tools/tavik/Account.h"
#include "tools/tavik/Problems.h"

namespace tavik::front {
namespace {

using Kind = StoreProblem::Kind;

struct Repair {
    std::string id;
    std::string path;
    std::string done;
};

bool isSame(const StoreProblem& a, const StoreProblem& b) {
    return a.kind == b.kind && a.path == b.path;
}

/// What the stores' own repair takes care of.
bool isOfTheStore(Kind kind) {
    return kind == Kind::noRow || kind == Kind::noLink || kind == Kind::wrongLink ||
           kind == Kind::database;
}

/// What a new copy of the extension takes care of, but for the missing list.
bool isDamage(Kind kind) {
    return kind == Kind::missing || kind == Kind::changed || kind == Kind::rights ||
           kind == Kind::noFolder;
}

bool isAbout(const StoreProblem& problem, const InventoryEntry& entry) {
    return problem.path == entry.folder || problem.path.rfind(entry.folder + "/", 0) == 0;
}

/// One run of the verb.
class Repairs {
  public:
    Repairs(bool isDry, Run& run) : isDry_(isDry), run_(run) {
        // The first look is at what the repair has to do.
        run_.session().setInterrupted(Session::Interrupted::stays);
        before_ = problemsNow();
    }

    void repairStores() {
        if (isDry_)
            return mendIf([](const StoreProblem& problem) { return isOfTheStore(problem.kind); });
        for (const StoreLocation& location : run_.session().locations())
            run_.attempt([&] { repairStore(location); });
    }

    void reinstallDamaged() {
        const Inventory now = run_.session().inventory();
        const auto problems = isDry_ ? before_ : problemsNow();
        for (const StoreLocation& location : run_.session().locations()) {
            std::vector<InventoryEntry> damaged;
            for (const InventoryEntry& entry : now.entries())
                if (entry.scope == location.scope && needsFiles(entry, problems))
                    damaged.push_back(entry);
            if (!damaged.empty())
                run_.attempt([&] { reinstallAll(damaged, problems); });
        }
    }

    void show() {
        std::vector<StoreProblem> left;
        if (!isDry_) {
            left = problemsNow();
            for (const StoreProblem& problem : before_)
                if (std::none_of(left.begin(), left.end(),
                                 [&](const StoreProblem& other) { return isSame(problem, other); }))
                    say(problem);
            for (const StoreProblem& problem : left)
                if (isOfTheStore(problem.kind))
                    run_.output().failure(Error(static_cast<int>(Status::notRepaired), problem.path,
                                                problemName(problem.kind)));
        } else if (!done_.empty()) {
            run_.output().pending();
        }
        run_.output().objects("repairs", done_, [](JsonText& json, const Repair& repair) {
            json.optional("id", repair.id);
            json.member("path", repair.path);
            json.member("done", repair.done);
        });
        showProblems("left", isDry_ ? before_ : left, run_);
    }

  private:
    std::vector<StoreProblem> problemsNow() { return problemsOf(run_.session().locations()); }

    std::vector<StoreProblem> problemsOf(const std::vector<StoreLocation>& locations) {
        Session& session = run_.session();
        auto [problems, failures] =
            findProblems(session.inventory(), session.products(), locations);
        for (const auto& failure : failures)
            run_.output().failure(failure.error);
        return std::move(problems);
    }

    void repairStore(const StoreLocation& location) {
        try {
            if (StoreFolder::open(location))
                run_.session().repair(location.scope);
        } catch (const Error& error) {
            // The store for all users is not this user's to change, and needs nothing.
            const bool isForbidden = error.status() == static_cast<int>(Status::noPermission);
            if (!isForbidden || location.scope != Scope::shared || !problemsOf({location}).empty())
                throw;
        }
    }

    static bool needsFiles(const InventoryEntry& entry, const std::vector<StoreProblem>& problems) {
        return std::any_of(problems.begin(), problems.end(), [&](const StoreProblem& problem) {
            return (isDamage(problem.kind) || problem.kind == Kind::noList) &&
                   isAbout(problem, entry);
        });
    }

    void reinstallAll(const std::vector<InventoryEntry>& damaged,
                      const std::vector<StoreProblem>& problems) {
        const Session::SameVersions found = run_.session().findSameVersions(damaged);
        for (const InventoryEntry& entry : damaged)
            run_.attempt([&] { reinstall(entry, found, problems); });
    }

    void reinstall(const InventoryEntry& entry, const Session::SameVersions& found,
                   const std::vector<StoreProblem>& problems) {
        if (!isOffered(entry, found)) {
            // Without its list alone, an extension works.
            if (std::any_of(problems.begin(), problems.end(), [&](const StoreProblem& problem) {
                    return isDamage(problem.kind) && isAbout(problem, entry);
                }))
                fail(Status::filesMissing, entry.row.id,
                     "no feed offers version " + entry.row.version.text());
            return;
        }
        if (!isDry_)
            run_.session().reinstall(entry, found, [&](const std::string& place) {
                say({entry.row.id, place, "setAside"});
            });
        say({entry.row.id, entry.folder, "reinstall"});
        if (isDry_)
            mendIf([&](const StoreProblem& problem) { return isAbout(problem, entry); });
    }

    static bool isOffered(const InventoryEntry& entry, const Session::SameVersions& found) {
        try {
            found.check->updateOf(entry.row.idKey);
            return true;
        } catch (const Error& error) {
            if (error.status() != static_cast<int>(Status::noUpdate))
                throw;
            return false;
        }
    }

    /// For a dry run: takes the problems that would be mended out of those that would be left.
    template <class IsMended>
    void mendIf(IsMended isMended) {
        const auto mended =
            std::stable_partition(before_.begin(), before_.end(),
                                  [&](const StoreProblem& problem) { return !isMended(problem); });
        for (auto problem = mended; problem != before_.end(); ++problem)
            say(*problem);
        before_.erase(mended, before_.end());
    }

    void say(const StoreProblem& problem) {
        say({problem.id, problem.path, problemName(problem.kind)});
    }

    void say(Repair repair) {
        run_.output().line("+ " + repair.done + " " + repair.path, Tone::good);
        done_.push_back(std::move(repair));
    }

    bool isDry_;
    Run& run_;
    std::vector<StoreProblem> before_;  ///< in a dry run without what would be mended
    std::vector<Repair> done_;
};

void repair(const Arguments& arguments, Run& run) {
    useAccount(arguments, run);
    Repairs repairs(arguments.has(kDryRunOption.name), run);
    repairs.repairStores();
    repairs.reinstallDamaged();
    repairs.show();
}

}  // namespace

const Verb kRepairVerb = {
    "repair",
    "brings both stores in order; what it cannot repair is named",
    {nullptr, nullptr, 0, 0},
    withAccountOptions({kDryRunOption}),
    {{"repairs", DocumentMember::Kind::list}, {"left", DocumentMember::Kind::list}},
    repair};

}  // namespace tavik::front
