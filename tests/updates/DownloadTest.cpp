#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/core/texts/Status.h"
#include "platform/core/updates/Download.h"
#include "tests/support/FeedServer.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {
namespace {

// "0123456789"
const char* const kDigest = "84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882";

class DownloadTest : public ::testing::Test {
  protected:
    /// The bytes that come from these paths of the server, tried in this order, or the failure.
    std::string download(const std::vector<std::string>& paths) {
        const FileDescriptor folder(::open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY));
        Offer offer;
        offer.name = "A";
        offer.item.size = 10;
        offer.item.sha256 = kDigest;
        for (const auto& path : paths)
            offer.item.mirrors.push_back(Address::parse(server_.address(path)));
        try {
            const auto note = [this](std::uint64_t done, std::uint64_t) { arrived_ = done; };
            return readUpTo(downloadUpdate(offer, folder.get(), note).get(), 100);
        } catch (const Error& error) {
            return std::to_string(error.status()) + " " + error.what();
        }
    }

    const TemporaryFolder folder_;
    FeedServer server_;
    std::uint64_t arrived_ = 0;
};

TEST_F(DownloadTest, OnlyTheFileThatTheFeedDescribesComesBack) {
    server_.serve("/half", {"0123456789", 200, {}, {}, ServerAnswer::Fault::cutInBody});
    server_.serve("/endless", {"0123456789", 200, {}, {}, ServerAnswer::Fault::endlessChunks});
    server_.serve("/error", {"0123456789", 404});
    server_.serve("/bit", {"0123456788"});
    server_.serve("/long", {"0123456789x"});
    server_.serve("/right", {"0123456789"});
    const std::string failed = std::to_string(static_cast<int>(Status::downloadFailed));
    const std::string differs = std::to_string(static_cast<int>(Status::downloadDiffers));
    struct {
        std::vector<std::string> mirrors;
        std::string expected;
    } const rows[] = {
        {{"/error"}, failed},
        {{"/half"}, failed},
        {{"/bit"}, differs},
        {{"/long"}, differs},
        {{"/endless"}, differs},
        {{"/bit", "/half"}, failed},
        {{"/error", "/half", "/long", "/bit", "/right"}, "0123456789"},
    };
    for (const auto& row : rows) {
        const std::string result = download(row.mirrors);
        EXPECT_EQ(result.substr(0, row.expected.size()), row.expected)
            << row.mirrors.back() << ": " << result;
        EXPECT_TRUE(std::filesystem::is_empty(folder_.path())) << row.mirrors.back();
    }
    EXPECT_EQ(arrived_, 10U);
}

}  // namespace
}  // namespace tavik::testing
