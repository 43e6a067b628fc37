#include "platform/core/crypto/OpenSslCrypto.h"

#include <openssl/crypto.h>

#include <new>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/crypto/Ed25519.h"
#include "platform/core/crypto/Sha256.h"

namespace tavik {

OpenSslCrypto::OpenSslCrypto() {
    // OpenSSL makes this context when it is first used. It does not notice if there is no memory
    // for it, and crashes later. So the context is made here, where the failure can be thrown.
    if (OSSL_LIB_CTX_get0_global_default() == nullptr)
        throw std::bad_alloc();
}

std::unique_ptr<Digest> OpenSslCrypto::sha256() {
    return std::make_unique<Sha256>();
}

KeyFinding OpenSslCrypto::readPublicKey(std::string_view pem) try {
    return {PublicKey::parse(pem).fingerprint(), {}};
} catch (const Ed25519Error& error) {
    return {{}, error.what()};
}

KeyFinding OpenSslCrypto::findSigner(std::string_view message, std::string_view signature) try {
    return {signerOf(message, signature).fingerprint(), {}};
} catch (const Ed25519Error& error) {
    return {{}, error.what()};
}

}  // namespace tavik
