#include "platform/support/Undumpable.h"

#include <sys/prctl.h>

#include <mutex>

namespace tavik {
namespace {

struct Holders {
    std::mutex mutex;
    int count = 0;
    int before = 1;  ///< the process's setting without a holder
};

Holders& holders() {
    static Holders all;
    return all;
}

}  // namespace

Undumpable::Undumpable() noexcept {
    const std::lock_guard<std::mutex> lock(holders().mutex);
    if (holders().count++ > 0)
        return;
    holders().before = ::prctl(PR_GET_DUMPABLE);
    ::prctl(PR_SET_DUMPABLE, 0);
}

Undumpable::~Undumpable() {
    const std::lock_guard<std::mutex> lock(holders().mutex);
    // 2, which only root sets for all, cannot be set back; the process then stays as it is.
    if (--holders().count == 0 && holders().before == 1)
        ::prctl(PR_SET_DUMPABLE, 1);
}

}  // namespace tavik
