#pragma once

#include <cstdlib>

namespace tavik {

/// What must hold for whatever the fuzzer feeds: where it does not, the run ends here.
inline void require(bool condition) {
    if (!condition)
        std::abort();
}

}  // namespace tavik
