#pragma once

#include <optional>
#include <string>

#include "platform/core/package/Version.h"

namespace tavik {

/// A host product that an extension works in, and the versions of it, both ends included.
struct ProductRequirement {
    std::string name;  ///< internal name
    std::optional<Version> minVersion;
    std::optional<Version> maxVersion;

    bool accepts(const Version& version) const noexcept {
        return (!minVersion || *minVersion <= version) && (!maxVersion || version <= *maxVersion);
    }
};

/// The versions for people: " from 17.0 up to 18.9", with a space in front; empty for any version.
inline std::string describeVersions(const ProductRequirement& requirement) {
    std::string text;
    if (requirement.minVersion)
        text += " from " + requirement.minVersion->text();
    if (requirement.maxVersion)
        text += " up to " + requirement.maxVersion->text();
    return text;
}

/// For people: "sketch from 17.0 up to 18.9".
inline std::string describe(const ProductRequirement& requirement) {
    return requirement.name + describeVersions(requirement);
}

}  // namespace tavik
