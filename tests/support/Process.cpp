#include "tests/support/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace tavik::testing {
namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> environmentStrings(const Environment& environment) {
    std::vector<std::string> strings;
    for (const char* name :
         {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && environment.count(name) == 0)
            strings.push_back(std::string(name) + "=" + value);
    }
    for (const auto& [name, value] : environment)
        strings.push_back(name + "=" + value);
    return strings;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (auto& string : strings)
        result.push_back(string.data());
    result.push_back(nullptr);
    return result;
}

/// Waits for something to read, or for the end of it; throws after the deadline.
void awaitOutput(int descriptor, Clock::time_point deadline, const std::string& soFar) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd readable{descriptor, POLLIN, 0};
    if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) != 1)
        throw std::runtime_error("the program took longer than its limit; so far: " + soFar);
}

/// Reads what there is; false at the end.
bool drain(int descriptor, std::string& into) {
    std::array<char, 65536> buffer{};
    const ssize_t got = ::read(descriptor, buffer.data(), buffer.size());
    if (got > 0)
        into.append(buffer.data(), static_cast<std::size_t>(got));
    return got > 0;
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const Environment& environment) {
    std::array<int, 2> out{};
    // A file takes all that the program says there, however late it is read.
    err_ = ::memfd_create("standard error", MFD_CLOEXEC);
    if (err_ < 0 || pipe2(out.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe or file");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err_, 2);

    std::vector<std::string> arguments = command;
    std::vector<std::string> variables = environmentStrings(environment);
    const int code = posix_spawnp(&pid_, command[0].c_str(), &actions, nullptr,
                                  pointers(arguments).data(), pointers(variables).data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    out_ = out[0];
    if (code != 0) {
        pid_ = -1;
        throw std::runtime_error("cannot start " + command[0]);
    }
}

Process::~Process() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(out_);
    ::close(err_);
}

void Process::kill(int signal) const {
    if (pid_ > 0)
        ::kill(pid_, signal);
}

std::string Process::line() {
    const auto deadline = Clock::now() + kUsualLimit;
    std::string line;
    for (;;) {
        awaitOutput(out_, deadline, line);
        char c = 0;
        if (::read(out_, &c, 1) != 1 || c == '\n')
            return line;
        line += c;
    }
}

Result Process::wait(std::chrono::seconds limit) {
    const auto deadline = Clock::now() + limit;
    Result result;
    do
        awaitOutput(out_, deadline, result.out);
    while (drain(out_, result.out));
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    ::lseek(err_, 0, SEEK_SET);
    while (drain(err_, result.err)) {
    }
    result.exitCode = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    return result;
}

Result run(const std::vector<std::string>& command, const Environment& environment) {
    return Process(command, environment).wait();
}

std::string program(const std::string& name) {
    return std::string(TAVIK_BINARY_FOLDER) + "/" + name;
}

std::string source(const std::string& name) {
    return std::string(TAVIK_SOURCE_FOLDER) + "/" + name;
}

}  // namespace tavik::testing
