#pragma once

#include <string>
#include <vector>

namespace tavik::front {

/// A library in use and its version at run time.
struct LibraryVersion {
    std::string name;
    std::string version;
};

/// The build's version, e.g. "1.0.0", and its commit; empty where none is known.
std::string toolVersion();
std::string toolCommit();

std::vector<LibraryVersion> librariesInUse();

/// What `tavik --version` prints.
std::string versionText();

}  // namespace tavik::front
