#include "platform/core/trust/ContentDigests.h"

#include "platform/core/status/Status.h"

namespace tavik {

class ContentDigests::DigestCheck final : public FileCheck {
  public:
    DigestCheck(const ContentDigests& content, const std::string& path)
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

    const ContentDigests& content_;
    const std::string path_;
    std::unique_ptr<Digest> digest_;
};

ContentDigests::ContentDigests(std::string package,
                               std::unordered_map<std::string, std::string> digests, Crypto& crypto)
    : package_(std::move(package)), digests_(std::move(digests)), crypto_(crypto) {}

std::unique_ptr<FileCheck> ContentDigests::start(const ArchiveEntry& entry) const {
    return std::make_unique<DigestCheck>(*this, entry.path);
}

void ContentDigests::require(const std::string& path, std::string_view bytes) const {
    DigestCheck check(*this, path);
    check.take(bytes);
    check.finish();
}

}  // namespace tavik
