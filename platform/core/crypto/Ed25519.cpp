#include "platform/core/crypto/Ed25519.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <iterator>
#include <new>

#include "platform/core/crypto/PemBlock.h"
#include "platform/core/crypto/Sha256.h"
#include "platform/support/Hex.h"

namespace tavik {
namespace {

constexpr const char* kPublicBlock = "PUBLIC KEY";
constexpr const char* kPrivateBlock = "PRIVATE KEY";
constexpr std::size_t kSignatureBytes = 64;
constexpr std::size_t kPointBytes = 32;

/// The arguments are valid, so the call can only fail for lack of memory.
void check(bool done) {
    if (done)
        return;
    ERR_clear_error();
    throw std::bad_alloc();
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, FreeContext>;

/// The DER bytes of the one block that a key's text has.
std::string onlyBlock(std::string_view pem, const std::string& label) {
    if (pem.size() > kMaxKeyBytes)
        throw Ed25519Error("has more than " + std::to_string(kMaxKeyBytes) + " bytes");
    auto block = takePemBlock(pem);
    if (!block)
        throw Ed25519Error("has no PEM block");
    if (block->label != label)
        throw Ed25519Error("has a block " + block->label + " and no " + label);
    if (takePemBlock(pem))
        throw Ed25519Error("has more than one PEM block");
    return std::move(block->bytes);
}

void requireEd25519(const EVP_PKEY* key, const unsigned char* end, std::string_view der) {
    ERR_clear_error();
    if (key == nullptr || end != bytesOf(der) + der.size())
        throw Ed25519Error("has no key in its PEM block");
    if (EVP_PKEY_get_id(key) != EVP_PKEY_ED25519)
        throw Ed25519Error("has a key of another kind than Ed25519");
}

/// The encodings of the points whose order divides 8, without the sign bit, from the curve's
/// definition (RFC 8032, 5.1). Under such a "key" one signature fits many messages.
bool hasSmallOrder(std::string_view point) {
    constexpr std::string_view kSmall[] = {
        "0000000000000000000000000000000000000000000000000000000000000000",
        "0100000000000000000000000000000000000000000000000000000000000000",
        "26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc05",
        "c7176a703d4dd84fba3c0b760d10670f2a2053fa2c39ccc64ec7fd7792ac037a",
        "ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
        "edffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
        "eeffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
    };
    std::string unsignedPoint(point);
    unsignedPoint.back() = static_cast<char>(unsignedPoint.back() & 0x7F);
    const std::string digits = toHex(unsignedPoint);
    return std::find(std::begin(kSmall), std::end(kSmall), digits) != std::end(kSmall);
}

/// Runs one of OpenSSL's i2d functions.
template <class Encode>
std::string encode(Encode encodeTo, EVP_PKEY* key) {
    unsigned char* bytes = nullptr;
    const int size = encodeTo(key, &bytes);
    check(size > 0);
    std::string der(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    OPENSSL_clear_free(bytes, static_cast<std::size_t>(size));
    return der;
}

std::string publicDer(EVP_PKEY* key) {
    return encode([](EVP_PKEY* k, unsigned char** out) { return i2d_PUBKEY(k, out); }, key);
}

}  // namespace

PublicKey PublicKey::parse(std::string_view pem) {
    const std::string der = onlyBlock(pem, kPublicBlock);
    const unsigned char* at = bytesOf(der);
    PublicKey key;
    key.key_.reset(d2i_PUBKEY(nullptr, &at, static_cast<long>(der.size())));
    requireEd25519(key.key_.get(), at, der);
    if (hasSmallOrder(std::string_view(der).substr(der.size() - kPointBytes)))
        throw Ed25519Error("has a key of small order, which is no key");
    return key;
}

std::string PublicKey::pem() const {
    return writePemBlock({kPublicBlock, publicDer(key_.get())});
}

std::string PublicKey::fingerprint() const {
    Sha256 digest;
    digest.update(publicDer(key_.get()));
    return digest.finish();
}

bool PublicKey::verifies(std::string_view message, std::string_view signature) const {
    const DigestContext context(EVP_MD_CTX_new());
    check(context &&
          EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1);
    const int result = EVP_DigestVerify(context.get(), bytesOf(signature), signature.size(),
                                        bytesOf(message), message.size());
    ERR_clear_error();
    return result == 1;
}

PrivateKey PrivateKey::generate() {
    PrivateKey key;
    key.key_.reset(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    check(key.key_ != nullptr);
    return key;
}

PrivateKey PrivateKey::parse(std::string_view pem) {
    const std::string der = onlyBlock(pem, kPrivateBlock);
    const unsigned char* at = bytesOf(der);
    PrivateKey key;
    key.key_.reset(d2i_PrivateKey(EVP_PKEY_ED25519, nullptr, &at, static_cast<long>(der.size())));
    requireEd25519(key.key_.get(), at, der);
    return key;
}

std::string PrivateKey::pem() const {
    const auto encodePkcs8 = [](EVP_PKEY* key, unsigned char** out) {
        PKCS8_PRIV_KEY_INFO* info = EVP_PKEY2PKCS8(key);
        const int size = i2d_PKCS8_PRIV_KEY_INFO(info, out);
        PKCS8_PRIV_KEY_INFO_free(info);
        return size;
    };
    return writePemBlock({kPrivateBlock, encode(encodePkcs8, key_.get())});
}

PublicKey PrivateKey::publicKey() const {
    const std::string der = publicDer(key_.get());
    return PublicKey::parse(writePemBlock({kPublicBlock, der}));
}

std::string PrivateKey::sign(std::string_view message) const {
    const DigestContext context(EVP_MD_CTX_new());
    std::string signature(kSignatureBytes, '\0');
    std::size_t size = signature.size();
    check(context &&
          EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1 &&
          EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                         bytesOf(message), message.size()) == 1 &&
          size == kSignatureBytes);
    return signature;
}

}  // namespace tavik
