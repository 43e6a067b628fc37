#include "platform/core/disk/SystemFolder.h"

namespace tavik {

std::string systemFolder() {
    return TAVIK_SYSCONFDIR "/tavik";
}

}  // namespace tavik
