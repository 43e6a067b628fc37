#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/core/texts/Status.h"
#include "platform/core/updates/Download.h"
#include "platform/core/updates/ProgressLine.h"
#include "tests/support/FeedServer.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik {
namespace {

using testing::FeedServer;
using testing::ServerAnswer;
using testing::TemporaryFolder;

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
    ServerAnswer half{"0123456789"};
    half.fault = ServerAnswer::Fault::cutInBody;
    server_.serve("/half", half);
    server_.serve("/bit", {"0123456788"});
    server_.serve("/short", {"012345678"});
    server_.serve("/long", {"0123456789x"});
    server_.serve("/right", {"0123456789"});
    const std::string failed = std::to_string(static_cast<int>(Status::downloadFailed));
    const std::string differs = std::to_string(static_cast<int>(Status::downloadDiffers));
    struct {
        std::vector<std::string> mirrors;
        std::string expected;
    } const rows[] = {
        {{"/none"}, failed},
        {{"/half"}, failed},
        {{"/bit"}, differs},
        {{"/short"}, differs},
        {{"/long"}, differs},
        {{"/bit", "/half"}, failed},
        {{"/none", "/half", "/long", "/bit", "/right"}, "0123456789"},
    };
    for (const auto& row : rows) {
        const std::string result = download(row.mirrors);
        EXPECT_EQ(result.substr(0, row.expected.size()), row.expected)
            << row.mirrors.back() << ": " << result;
        EXPECT_TRUE(std::filesystem::is_empty(folder_.path())) << row.mirrors.back();
    }
    EXPECT_EQ(arrived_, 10U);
    const auto once = server_.requests("/right").size();
    download({"/right", "/none"});
    EXPECT_EQ(server_.requests("/right").size(), once + 1);
}

TEST(Download, AnotherPackageThanTheFeedsIsRefused) {
    Offer offer;
    offer.item.idKey = "a";
    offer.item.version = *Version::parse("1.5");
    EXPECT_NO_THROW(requireOffered(offer, "a", *Version::parse("1.5.0")));
    EXPECT_THROW(requireOffered(offer, "b", *Version::parse("1.5")), Error);
    EXPECT_THROW(requireOffered(offer, "a", *Version::parse("1.6")), Error);
}

TEST(ProgressLine, ShowsOnATerminalOnlyAndClears) {
    int master = -1;
    int slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    const FileDescriptor screen(master);
    {
        const FileDescriptor terminal(slave);
        ProgressLine line(terminal.get(), std::chrono::milliseconds(0));
        line.show(5'000'000, 10'000'000);
    }
    std::string shown(1000, '\0');
    shown.resize(static_cast<std::size_t>(::read(master, shown.data(), shown.size())));
    EXPECT_NE(shown.find("50 %  5.0 MB"), std::string::npos) << shown;
    const auto cleared = shown.rfind('\r', shown.size() - 2);
    EXPECT_EQ(shown.find_first_not_of(" \r", cleared), std::string::npos) << shown;

    const TemporaryFolder folder;
    const FileDescriptor file(::open((folder / "log").c_str(), O_RDWR | O_CREAT, 0600));
    ProgressLine(file.get(), std::chrono::milliseconds(0)).show(1, 2);
    EXPECT_EQ(testing::readFile(folder / "log"), "");
}

}  // namespace
}  // namespace tavik
