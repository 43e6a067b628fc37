#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace tavik {

inline bool isIn(const std::vector<std::string>& fingerprints, const std::string& fingerprint) {
    return std::find(fingerprints.begin(), fingerprints.end(), fingerprint) != fingerprints.end();
}

}  // namespace tavik
