#include "platform/core/crypto/PemBlock.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <memory>
#include <new>

namespace tavik {
namespace {

struct FreeBio {
    void operator()(BIO* bio) const noexcept { BIO_free(bio); }
};
using Bio = std::unique_ptr<BIO, FreeBio>;

/// Takes over what OpenSSL allocated. A block may hold a private key.
std::string takeBytes(void* bytes, std::size_t size) {
    std::string copy(static_cast<const char*>(bytes), size);
    OPENSSL_clear_free(bytes, size);
    return copy;
}

}  // namespace

std::optional<PemBlock> takePemBlock(std::string_view& text) {
    const Bio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    if (!bio)
        throw std::bad_alloc();
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    const bool found = PEM_read_bio(bio.get(), &name, &header, &data, &size) == 1;
    ERR_clear_error();
    if (!found)
        return std::nullopt;
    text.remove_prefix(text.size() - static_cast<std::size_t>(BIO_pending(bio.get())));
    PemBlock block;
    block.label = takeBytes(name, std::char_traits<char>::length(name));
    block.bytes = takeBytes(data, static_cast<std::size_t>(size));
    OPENSSL_free(header);
    return block;
}

std::string writePemBlock(const PemBlock& block) {
    const Bio bio(BIO_new(BIO_s_mem()));
    const auto* bytes = reinterpret_cast<const unsigned char*>(block.bytes.data());
    if (!bio || PEM_write_bio(bio.get(), block.label.c_str(), "", bytes,
                              static_cast<long>(block.bytes.size())) == 0)
        throw std::bad_alloc();
    const char* text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

}  // namespace tavik
