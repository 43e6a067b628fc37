#pragma once

#include <string>
#include <vector>

#include "tests/support/PackageBuilder.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// A machine in a temporary folder: a user's store, a store for all users, host products and
/// packages; the real tool runs on it. There is no message bus and no network on it.
class Machine {
  public:
    Machine();

    /// Makes a host product known in the user's store.
    void addProduct(const std::string& name, const std::string& displayName,
                    const std::string& version, const std::string& moreMembers = "");

    /// Writes the package into the machine and gives its path.
    std::string package(const PackageBuilder& builder);
    /// A package for any "sketch" with one file, "content.txt", which holds the version.
    std::string package(const std::string& id, const std::string& version);

    /// Who tavik() runs the tool as: the test's own user, or an ordinary user. Root changes to one
    /// for the second.
    enum class As { owner, ordinaryUser };
    void runAs(As who) { who_ = who; }

    /// Runs the tool, or another program of the build, with these arguments.
    Result tavik(const std::vector<std::string>& arguments,
                 const std::string& name = "TavikCmd") const;
    Result install(const std::string& path) const { return tavik({"--install", path}); }

    /// "Enabled NAME VERSION" or "Disabled NAME VERSION" for each extension that is listed for the
    /// product, in the order of the list. A failing list gives its output instead.
    std::vector<std::string> listed(const std::string& displayName = "Sketch Pro") const;

    /// What the host application finds as the extension's file; empty where it finds none.
    std::string seenByHost(const std::string& id, const std::string& file = "content.txt") const;

    /// What should not be there: folders without a row, rows without a folder, leftovers in
    /// staging/, links that lead nowhere. Empty for a sound store.
    std::vector<std::string> garbage() const;

    std::string user(const std::string& name = "") const { return folder_ / ("user/QZ/" + name); }
    std::string shared(const std::string& name = "") const {
        return folder_ / ("shared/QZ/" + name);
    }
    std::string path(const std::string& name) const { return folder_ / name; }

    Environment& environment() { return environment_; }
    const Environment& environment() const { return environment_; }

  private:
    TemporaryFolder folder_;
    Environment environment_;
    As who_ = As::owner;
    int packages_ = 0;
};

/// The names in a folder, sorted; empty where there is no such folder.
std::vector<std::string> namesIn(const std::string& folder);

}  // namespace tavik::testing
