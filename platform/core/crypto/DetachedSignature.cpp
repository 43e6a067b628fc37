#include "platform/core/crypto/DetachedSignature.h"

#include "platform/core/crypto/PemBlock.h"

namespace tavik {
namespace {

constexpr const char* kSignatureBlock = "ED25519 SIGNATURE";
constexpr std::size_t kMaxSignatureText = 1024;

std::string write(const PublicKey& key, const std::string& signature) {
    return key.pem() + writePemBlock({kSignatureBlock, signature});
}

}  // namespace

std::string signDetached(std::string_view message, const PrivateKey& key) {
    return write(key.publicKey(), key.sign(message));
}

PublicKey signerOf(std::string_view message, std::string_view signature) {
    std::string_view rest = signature.substr(0, kMaxSignatureText);
    const auto keyBlock = takePemBlock(rest);
    const auto signatureBlock = takePemBlock(rest);
    if (!keyBlock || !signatureBlock)
        throw Ed25519Error("is not a public key and a signature");
    PublicKey key = PublicKey::parse(writePemBlock(*keyBlock));
    // Only one form is accepted: a second one could carry hidden data.
    if (write(key, signatureBlock->bytes) != signature)
        throw Ed25519Error("is not a public key and a signature in their one form");
    if (!key.verifies(message, signatureBlock->bytes))
        throw Ed25519Error("was not made by its key over this content");
    return key;
}

}  // namespace tavik
