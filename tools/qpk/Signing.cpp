#include "tools/qpk/Signing.h"

#include <algorithm>
#include <cerrno>

#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/status/Status.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {

Crypto& authorCrypto() {
    static OpenSslCrypto crypto;
    return crypto;
}

TrustRules authorRules() {
    return {{}, {}, []() -> Crypto& { return authorCrypto(); }};
}

PrivateKey readPrivateKey(const std::string& path) {
    const auto pem = readWhole(path, kMaxKeyBytes, FinalLink::followed);
    if (!pem)
        failSystem(ENOENT, path, "open the file");
    try {
        return PrivateKey::parse(*pem);
    } catch (const Ed25519Error& error) {
        fail(Status::keyInvalid, path, error.what());
    }
}

std::string digestOf(const PackageFile& file) {
    constexpr std::uint64_t kPiece = std::uint64_t{1} << 20;
    const auto digest = authorCrypto().sha256();
    std::string buffer;
    for (std::uint64_t done = 0; done < file.size(); done += buffer.size()) {
        buffer.resize(static_cast<std::size_t>(std::min(kPiece, file.size() - done)));
        file.readAt(done, buffer.data(), buffer.size());
        digest->update(buffer);
    }
    return digest->finish();
}

}  // namespace tavik::qpk
