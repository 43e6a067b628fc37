#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core/package/Fault.h"
#include "platform/core/package/ProductRequirement.h"
#include "platform/core/package/Version.h"
#include "platform/support/JsonObject.h"

namespace tavik {

/// The name that the manifest has in every package.
inline constexpr std::string_view kManifestPath = "extension.json";

/// What `extension.json` says. All texts are printable (see Text.h) but the description: that is
/// valid UTF-8 whose only control characters are line breaks and tabs.
struct Manifest {
    std::string id;     ///< as written
    std::string idKey;  ///< in lower case: ids that differ only in case are the same id
    std::string name;
    Version version;
    std::vector<ProductRequirement> products;  ///< 1 to 256, each name once
    std::string storeName;
    std::string description;
    std::string author;
    std::string license;
    std::string homepage;
    std::string updateUrl;
    bool requiresAccount = false;
};

inline constexpr std::size_t kMaxIdBytes = 255;
inline constexpr std::size_t kMaxNameBytes = 255;
inline constexpr std::size_t kMaxStoreNameBytes = 255;
inline constexpr std::size_t kMaxProductNameBytes = 63;
inline constexpr std::size_t kMaxProducts = 256;

/// 1 to 255 letters, digits, `.`, `_`, `-`, a letter or digit at both ends, no `..`.
bool isExtensionId(std::string_view text) noexcept;

/// The member as a version; nothing where it is missing, or where it is no version and the
/// complaint handler returns. Feeds have versions in the same form.
std::optional<Version> readVersion(const JsonObject& object, std::string_view member);

/// The id as it is compared: ASCII letters in lower case.
std::string toIdKey(std::string_view id);

/// Reads a manifest and reports what breaks a rule: manifestInvalid, or packageUnsupported for a
/// form or a need that this core does not know. Members that it does not know are ignored.
/// If `report` returns, the result has default values instead of what was refused.
Manifest parseManifest(std::string_view bytes, const JsonLimits& limits, const FaultSink& report);

}  // namespace tavik
