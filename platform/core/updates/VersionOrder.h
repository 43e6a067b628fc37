#pragma once

#include <algorithm>
#include <iterator>

namespace tavik {

/// Orders what has an `idKey` and a `version`, of whatever type, so that long feeds are searched
/// and not walked through.
struct VersionOrder {
    template <class A, class B>
    bool operator()(const A& a, const B& b) const {
        const int keys = a.idKey.compare(b.idKey);
        return keys != 0 ? keys < 0 : a.version < b.version;
    }
};

/// The same, and then by the `sha256`; a blocked version, which has none, comes first.
struct DigestOrder {
    template <class A, class B>
    bool operator()(const A& a, const B& b) const {
        const int keys = a.idKey.compare(b.idKey);
        if (keys != 0)
            return keys < 0;
        const int versions = a.version.compare(b.version);
        return versions != 0 ? versions < 0 : a.sha256 < b.sha256;
    }
};

/// Whether `entries`, which are in DigestOrder, have the item's version under another digest.
template <class Entries, class Item>
bool hasOtherDigest(const Entries& entries, const Item& item) {
    const auto version = std::equal_range(entries.begin(), entries.end(), item, VersionOrder());
    const auto same = std::equal_range(version.first, version.second, item, DigestOrder());
    return same.second != version.second ||
           (same.first != version.first && !std::prev(same.first)->sha256.empty());
}

}  // namespace tavik
