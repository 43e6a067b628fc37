#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// The scripted framework, its script and its log, for this process or for the real program.
class ScriptedFramework {
  public:
    using Values = std::vector<std::pair<std::string, std::string>>;

    /// Loads the library, or a copy of it without these entries, into this process: it then is what
    /// "libnorva_vell.so" means here.
    void loadHere(const std::vector<std::string>& missingEntries = {}) const;

    /// Adds a line; a later line for the same call wins.
    void answer(const std::string& call, const std::string& result) {
        script_ += call + " -> " + result + "\n";
    }
    /// Adds a subdomain of domain 1 with keys and values, in this order.
    void subdomain(const std::string& name, const Values& values);

    /// Writes the script for this process.
    void useHere() const;
    /// Runs the program with `arguments`, the library without these entries.
    Result run(const std::vector<std::string>& arguments,
               const std::vector<std::string>& missingEntries = {}) const;

    /// The calls so far, one a line, and forgets them.
    std::string calls() const;

    const TemporaryFolder& folder() const { return folder_; }

  private:
    std::string library(const std::vector<std::string>& missingEntries) const;

    TemporaryFolder folder_;
    std::string script_;
    std::string subdomains_;
};

}  // namespace tavik::testing
