#include "platform/core/trust/Digests.h"

#include <algorithm>

#include "platform/support/Hex.h"
#include "platform/support/Text.h"

namespace tavik {

std::string digestOf(std::string_view bytes, Crypto& crypto) {
    const auto digest = crypto.sha256();
    digest->update(bytes);
    return digest->finish();
}

std::string digestOf(const PackageFile& file, Crypto& crypto) {
    constexpr std::uint64_t kPieceBytes = std::uint64_t{1} << 20;
    const auto digest = crypto.sha256();
    std::string piece;
    for (std::uint64_t done = 0; done < file.size(); done += piece.size()) {
        piece.resize(static_cast<std::size_t>(std::min(kPieceBytes, file.size() - done)));
        file.readAt(done, piece.data(), piece.size());
        digest->update(piece);
    }
    return digest->finish();
}

std::optional<std::string> parseDigest(std::string_view text) {
    constexpr std::size_t kDigits = 64;
    if (text.size() != kDigits || !fromHex(text))
        return std::nullopt;
    return toLowerAscii(text);
}

bool isIn(const std::vector<std::string>& digests, const std::string& digest) {
    return std::find(digests.begin(), digests.end(), digest) != digests.end();
}

bool isDigestText(std::string_view text) {
    return parseDigest(text) == text;
}

}  // namespace tavik
