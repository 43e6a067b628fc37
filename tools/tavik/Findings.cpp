#include "tools/tavik/Findings.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <set>

#include "platform/core/disk/SetAside.h"
#include "platform/core/disk/StoreFolder.h"
#include "platform/core/disk/SystemFolder.h"
#include "platform/messaging/SessionBus.h"
#include "platform/vell/InstallerDatabase.h"
#include "tools/tavik/Changes.h"
#include "tools/tavik/Words.h"

namespace tavik::front {
namespace {

/// Runs `work`; its failure becomes a problem.
template <class Work>
void inspect(Finding& finding, Language language, Work work) {
    try {
        work();
    } catch (const Error& error) {
        // The installer database's statuses are not the core's: their texts stand in the error.
        const bool isOurs = std::string(nameOf(error.status())) != "internalError";
        const std::string cause = isOurs ? wordingOf(error.status(), language).cause : "";
        finding.problems.push_back(error.what() + (cause.empty() ? "" : ": " + cause));
    } catch (const std::exception& error) {
        finding.problems.emplace_back(error.what());
    }
}

std::string rightsOf(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return "absent";
    std::array<char, 8> mode{};
    static_cast<void>(std::snprintf(mode.data(), mode.size(), "%04o", info.st_mode & 07777U));
    return std::string(mode.data()) + ", owner " + std::to_string(info.st_uid) +
           (::access(path.c_str(), W_OK) == 0 ? ", writable" : ", not writable");
}

std::vector<Finding> stores(Run& run) {
    std::vector<Finding> found;
    for (const StoreLocation& location : run.session().locations()) {
        Finding finding{scopeName(location.scope),
                        location.familyFolder(),
                        rightsOf(location.familyFolder()),
                        {}};
        inspect(finding, run.language(), [&] {
            const auto folder = StoreFolder::open(location);
            auto table = folder ? ExtensionTable::openForReading(*folder) : std::nullopt;
            if (table)
                finding.facts += ", extensions " + std::to_string(table->readAll().size());
            // Nothing deletes these automatically: whoever reads this decides.
            for (const auto& name :
                 folder ? SetAside::namesOf(*folder) : std::vector<std::string>())
                finding.facts += ", set-aside/" + name;
            if (table && table->trouble())
                throw Error(*table->trouble());
        });
        found.push_back(finding);
    }
    return found;
}

std::vector<Finding> products(Run& run) {
    std::vector<Finding> found;
    const ProductCatalog& catalog = run.session().products();
    for (const Product& product : catalog.products()) {
        const std::string folder = run.session().extensionsFolder(product);
        found.push_back(
            {product.name, folder, product.version.text() + ", " + rightsOf(folder), {}});
    }
    for (const Error& error : catalog.leftOut())
        found.push_back({"", error.subject(), "", {error.what()}});
    return found;
}

/// The files of that name in the administrator's folder and in the stores' own.
std::vector<Finding> administratorsFiles(const std::string& name, Run& run) {
    std::set<std::string> folders{systemFolder()};
    for (const StoreLocation& location : run.session().locations())
        folders.insert(location.familyFolder());
    std::vector<Finding> found;
    for (const std::string& folder : folders) {
        const std::string path = folder + "/" + name;
        if (::access(path.c_str(), F_OK) == 0)
            found.push_back({name, path, rightsOf(path), {}});
    }
    return found;
}

std::vector<Finding> policy(Run& run) {
    auto found = administratorsFiles("policy.json", run);
    Finding rules{"rules", "", "", {}};
    inspect(rules, run.language(), [&] {
        const Policy policy = run.session().readRules().policy;
        rules.facts = policy.requireSignature ? "signatures required" : "signatures not required";
        const std::pair<const char*, std::size_t> counts[] = {
            {", lists of allowed ids ", policy.allow.size()},
            {", denied ids ", policy.deny.size()},
            {", lists of feeds ", policy.feeds.size()},
            {", redirects ", policy.redirects.size()}};
        for (const auto& [what, count] : counts)
            if (count != 0)
                rules.facts += what + std::to_string(count);
    });
    found.push_back(rules);
    return found;
}

std::vector<Finding> keys(Run& run) {
    auto found = administratorsFiles("trusted-keys", run);
    Finding all{"keys", "", found.empty() ? "none trusted" : "", {}};
    if (!found.empty())
        inspect(all, run.language(), [&] {
            const TrustRules rules = run.session().readRules();
            Crypto& crypto = rules.crypto();
            all.facts = "trusted " + std::to_string(rules.keys.trusted(crypto).size()) +
                        ", revoked " + std::to_string(rules.keys.revoked(crypto).size());
        });
    found.push_back(all);
    return found;
}

std::vector<Finding> feeds(Run& run) {
    std::vector<Finding> found;
    run.session().setInterrupted(Session::Interrupted::stays);
    const Session::Feeds known = run.session().feeds();
    for (const FeedInUse& feed : known.feeds) {
        const std::string facts =
            feed.goodOn.empty() ? "never good here" : "good on " + feed.goodOn;
        found.push_back(
            {feed.namedBy, withoutSecrets(feed.address), facts, {}, {{"lastGood", feed.goodOn}}});
    }
    if (known.failure) {
        Finding memory{"feeds.db", "", "", {}, {{"lastGood", ""}}};
        inspect(memory, run.language(), [&] { throw Error(*known.failure); });
        found.push_back(memory);
    }
    return found;
}

std::vector<Finding> bus(Run& /*run*/) {
    const auto address = norva::zephal::sessionBusAddress();
    Finding finding{"bus", address.value_or(""), "", {}};
    if (!address)
        finding.problems.emplace_back("there is no session bus: results are not sent");
    return {finding};
}

std::vector<Finding> launch(Run& run) {
    Finding finding{"database", vell::databasePath(), "", {}};
    finding.facts = rightsOf(finding.place);
    inspect(finding, run.language(), [&] { vell::open(finding.place, vell::Access::read); });
    return {finding};
}

}  // namespace

const Section kSections[7] = {{"stores", stores}, {"products", products}, {"policy", policy},
                              {"keys", keys},     {"feeds", feeds},       {"bus", bus},
                              {"launch", launch}};

}  // namespace tavik::front
