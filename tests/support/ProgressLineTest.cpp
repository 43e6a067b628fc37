#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <string>

#include "platform/support/FileDescriptor.h"
#include "platform/support/ProgressLine.h"

namespace tavik {
namespace {

using std::chrono::milliseconds;

/// All that can be read without waiting.
std::string arrived(int descriptor) {
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
    std::array<char, 4096> bytes{};
    const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
    return {bytes.data(), count < 0 ? 0 : static_cast<std::size_t>(count)};
}

// Catches a line that a terminal never shows, or that is still there when the work is done.
TEST(ProgressLine, IsDrawnAndRemovedOnATerminal) {
    int master = -1;
    int slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    const FileDescriptor reader(master);
    const FileDescriptor terminal(slave);
    {
        ProgressLine line(slave, milliseconds(0));
        line.show(9'200'000, 18'400'000);
        const std::string drawn = arrived(master);
        EXPECT_EQ(drawn.find("\r[###############---------------]  50 %  9.2 MB"), 0U) << drawn;
    }
    const std::string removed = arrived(master);
    ASSERT_GT(removed.size(), 2U);
    EXPECT_EQ(removed, "\r" + std::string(removed.size() - 2, ' ') + "\r");
    {
        ProgressLine line(slave, std::chrono::hours(1));
        line.show(1, 2);
    }
    EXPECT_EQ(arrived(master), "") << "short work shows nothing";
}

// Catches control characters in a log file.
TEST(ProgressLine, IsNotForAPipe) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const FileDescriptor reader(ends[0]);
    const FileDescriptor writer(ends[1]);
    {
        ProgressLine line(writer.get(), milliseconds(0));
        line.show(1, 2);
    }
    EXPECT_EQ(arrived(reader.get()), "");
}

}  // namespace
}  // namespace tavik
