#include <sys/wait.h>

#include <csignal>

#include "tests/tavik/Front.h"

namespace tavik::testing {
namespace {

struct InterruptedRow {
    const char* program;
    const char* install;
    int signal;
};

class Interrupted : public Front {};

// Catches half an extension that stays behind, a signal that is swallowed, and one that is caught
// although the caller wanted it ignored.
TEST_F(Interrupted, InstallLeavesNothingAndEndsByTheSignal) {
    const std::string package =
        machine_.package(PackageBuilder("com.example.a", "1.0").file("content.txt", "1.0"));
    const InterruptedRow rows[] = {{"tavik", "install", SIGINT},
                                   {"tavik", "install", SIGTERM},
                                   {"TavikCmd", "--install", SIGINT},
                                   {"TavikCmd", "--install", SIGHUP}};
    for (const auto& row : rows) {
        Environment environment = machine_.environment();
        environment["LD_PRELOAD"] = TAVIK_FAULTS_LIBRARY;
        environment["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
        environment["FAULT_PATH"] = "content.txt";
        environment["FAULT"] = "stop";
        Process process({program(row.program), row.install, package}, environment);
        ASSERT_EQ(process.line(), "stopped") << row.program;
        siginfo_t stopped{};
        ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(process.pid()), &stopped,
                           WSTOPPED | WEXITED | WNOWAIT),
                  0);
        EXPECT_NE(namesIn(machine_.user("staging")), std::vector<std::string>{})
            << "not in the extraction";
        process.kill(row.signal);
        process.kill(SIGCONT);
        const Result result = process.wait();
        EXPECT_EQ(result.exitCode, 128 + row.signal) << row.program << result.out << result.err;
        EXPECT_EQ(namesIn(machine_.user("staging")), std::vector<std::string>{}) << row.program;
        EXPECT_EQ(namesIn(machine_.user("ext")), std::vector<std::string>{}) << row.program;
    }
    EXPECT_EQ(listed(), std::vector<std::string>{});
}

}  // namespace
}  // namespace tavik::testing
