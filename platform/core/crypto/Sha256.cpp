#include "platform/core/crypto/Sha256.h"

#include <array>
#include <new>

#include "platform/support/Hex.h"

namespace tavik {
namespace {

/// The arguments are valid, so the call can only fail for lack of memory.
void check(int result) {
    if (result != 1)
        throw std::bad_alloc();
}

}  // namespace

Sha256::Sha256() : context_(EVP_MD_CTX_new()) {
    check(context_ ? EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) : 0);
}

void Sha256::update(std::string_view bytes) {
    check(EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()));
}

std::string Sha256::finish() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    check(EVP_DigestFinal_ex(context_.get(), digest.data(), &size));
    return toHex({reinterpret_cast<const char*>(digest.data()), size});
}

}  // namespace tavik
