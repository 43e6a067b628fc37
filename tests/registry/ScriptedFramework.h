#pragma once

#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// The scripted framework, its script and its log, for this process or for the real program.
class ScriptedFramework {
  public:
    /// What is loaded here answers from this script from now on.
    ScriptedFramework();

    /// Loads the library, or a copy of it without these entries, into this process: it then is what
    /// "libnorva_vell.so" means here.
    void loadHere(const std::vector<std::string>& missingEntries = {}) const;

    /// Adds lines; a later one for the same call wins. A line is a call and its answer, as in
    /// ScriptedVell.cpp, or a subdomain of domain 1 with its keys and values in their order:
    /// "tavik-7.0: Path=/a; DisplayName=b". "/norva/parlex/" goes before a name that begins with a
    /// letter, and "@" stands for the folder.
    void script(const std::string& lines);

    /// Runs "TavikCmd --launch `locale`", the library without these entries.
    Result launch(const std::string& locale,
                  const std::vector<std::string>& missingEntries = {}) const;

    /// The calls so far, one a line, and forgets them.
    std::string calls() const;

    const TemporaryFolder& folder() const { return folder_; }

  private:
    void add(const std::string& line) const;
    void subdomain(std::string name, const std::string& values);
    std::string library(const std::vector<std::string>& missingEntries) const;

    TemporaryFolder folder_;
    std::string subdomains_;
};

}  // namespace tavik::testing
