#include <curl/curl.h>
#include <openssl/crypto.h>

#include "platform/core/crypto/OpenSslCrypto.h"
#include "platform/core/net/CurlFetcher.h"
#include "platform/core/net/Online.h"

namespace tavik {
namespace {

class OnlineModule final : public Online {
  public:
    std::unique_ptr<Fetcher> newFetcher(const FetchBounds& bounds) override {
        return std::make_unique<CurlFetcher>(bounds);
    }
    Crypto& crypto() override { return crypto_; }
    std::vector<std::pair<std::string, std::string>> libraries() override {
        return {{"libcurl", curl_version_info(CURLVERSION_NOW)->version},
                {"OpenSSL", OpenSSL_version(OPENSSL_VERSION_STRING)}};
    }

  private:
    OpenSslCrypto crypto_;
};

bool isCurlUsable() {
    // No clean-up at exit: libcrypto would free its tables one by one, and the process's end frees
    // all memory anyway.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    // An older libcurl lacks options that the limits need.
    return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK &&
           curl_version_info(CURLVERSION_NOW)->version_num >= LIBCURL_VERSION_NUM;
}

}  // namespace
}  // namespace tavik

extern "C" __attribute__((visibility("default"))) tavik::Online* tavikOnline(int interface) {
    static tavik::OnlineModule module;
    static const bool usable = tavik::isCurlUsable();
    return usable && interface == tavik::kOnlineInterface ? &module : nullptr;
}
