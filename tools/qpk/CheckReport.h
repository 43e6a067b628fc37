#pragma once

#include <string>
#include <vector>

#include "tools/qpk/Explanation.h"
#include "tools/qpk/PackageCheck.h"

namespace tavik::qpk {

/// What `qpk check` has found about one package or folder.
struct CheckedPackage {
    std::string path;  ///< as it was named
    std::string id;    ///< empty where the manifest does not say it
    std::string version;
    std::string manifest;  ///< its bytes; empty where it cannot be read
    std::vector<Fault> faults;
};

/// The document that `qpk check --json` prints, in the form of docs/schemas/qpk-check.json.
std::string writeCheckReport(const std::vector<CheckedPackage>& packages,
                             const std::vector<Explanation>& failures);

}  // namespace tavik::qpk
