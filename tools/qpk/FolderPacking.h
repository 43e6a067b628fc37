#pragma once

#include <string>
#include <vector>

#include "platform/core/disk/AtomicFile.h"
#include "platform/core/package/Fault.h"

namespace tavik::qpk {

/// What came of making a package.
struct PackedFolder {
    std::size_t files = 0;
    std::vector<Fault> faults;  ///< all that qpk check would find, and what cannot be packed at all
};

/// Writes a package of everything in the folder that is not ignored into `file`, and checks it.
/// Where there are faults, the package is no good. Throws Error.
PackedFolder packFolder(const std::string& folder, AtomicFile& file);

}  // namespace tavik::qpk
