#include "platform/core/trust/SignedContent.h"

#include "platform/core/status/Status.h"

namespace tavik {

class SignedContent::DigestCheck final : public FileCheck {
  public:
    DigestCheck(const SignedContent& content, const std::string& path)
        : content_(content), path_(path), digest_(content.crypto_.sha256()) {
        if (content.digests_.count(path) == 0)
            fail("is not in the signed list");
    }

    void take(std::string_view bytes) override { digest_->update(bytes); }
    void finish() override {
        if (digest_->finish() != content_.digests_.at(path_))
            fail("has another digest than in the signed list");
    }

  private:
    [[noreturn]] void fail(const char* text) const {
        tavik::fail(Status::contentDiffers, content_.package_, entryPlace(path_) + ": " + text);
    }

    const SignedContent& content_;
    const std::string path_;
    std::unique_ptr<Digest> digest_;
};

SignedContent::SignedContent(std::string package,
                             std::unordered_map<std::string, std::string> digests, Crypto& crypto)
    : package_(std::move(package)), digests_(std::move(digests)), crypto_(crypto) {}

std::unique_ptr<FileCheck> SignedContent::start(const ArchiveEntry& entry) const {
    return std::make_unique<DigestCheck>(*this, entry.path);
}

void SignedContent::require(const std::string& path, std::string_view bytes) const {
    DigestCheck check(*this, path);
    check.take(bytes);
    check.finish();
}

}  // namespace tavik
