#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

/// A PEM block: `-----BEGIN LABEL-----`, its bytes in base64, `-----END LABEL-----`.
struct PemBlock {
    std::string label;
    std::string bytes;
};

/// The first block of `text`, taken off it with what stands before; nothing where there is none
/// that is whole. `text` has less than 2 GiB.
std::optional<PemBlock> takePemBlock(std::string_view& text);

std::string writePemBlock(const PemBlock& block);

}  // namespace tavik
