#include <cstdlib>

#include "platform/core/disk/SystemFolder.h"

namespace tavik {

/// In the place of the core's own, whose folder is fixed and belongs to the whole machine.
std::string systemFolder() {
    const char* folder = std::getenv("TAVIK_TEST_SYSTEM_FOLDER");
    return folder == nullptr ? "/nonexistent" : folder;
}

}  // namespace tavik
