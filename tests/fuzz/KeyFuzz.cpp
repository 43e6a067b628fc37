// Feeds arbitrary bytes to the readers of PEM blocks and keys.

#include <cstdint>
#include <string_view>

#include "platform/core/crypto/Ed25519.h"
#include "platform/core/crypto/PemBlock.h"
#include "tests/fuzz/Fuzz.h"

namespace tavik {
namespace {

void readBlocks(std::string_view text) {
    while (const auto block = takePemBlock(text)) {
        const std::string written = writePemBlock(*block);
        std::string_view rest = written;
        const auto again = takePemBlock(rest);
        // A label that PEM cannot carry, such as one of spaces, is not read again.
        if (again)
            require(again->label == block->label && again->bytes == block->bytes);
    }
}

void readPublicKey(std::string_view text) try {
    const PublicKey key = PublicKey::parse(text);
    require(key.fingerprint().size() == 64);
    require(PublicKey::parse(key.pem()).fingerprint() == key.fingerprint());
    require(!key.verifies("message", std::string(64, '\0')));
} catch (const Ed25519Error&) {
}

void readPrivateKey(std::string_view text) try {
    const PrivateKey key = PrivateKey::parse(text);
    const std::string signature = key.sign("message");
    require(key.publicKey().verifies("message", signature));
    require(PrivateKey::parse(key.pem()).sign("message") == signature);
} catch (const Ed25519Error&) {
}

}  // namespace
}  // namespace tavik

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    tavik::readBlocks(text);
    tavik::readPublicKey(text);
    tavik::readPrivateKey(text);
    return 0;
}
