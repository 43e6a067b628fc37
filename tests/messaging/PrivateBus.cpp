#include "tests/messaging/PrivateBus.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace tavik::testing {
namespace {

constexpr const char* kAddressVariable = "DBUS_SESSION_BUS_ADDRESS";

std::string daemonCommand(const std::string& folder) {
    std::filesystem::create_directory(folder);
    // "run 100%/bus" as D-Bus addresses escape it.
    const std::string parent = std::filesystem::path(folder).parent_path();
    return "dbus-daemon --session --nofork --nopidfile --print-address=1 '--address=unix:path=" +
           parent + "/run%20100%25/bus' 2>/dev/null";
}

}  // namespace

// The shell's own line tells the process id, which the program keeps.
LineReader::LineReader(const std::string& command)
    : output_(popen(("echo $$; exec setpriv --pdeathsig KILL " + command).c_str(), "re")),
      pid_(output_ == nullptr ? -1 : std::stoi(line())) {
    if (pid_ <= 0)
        throw std::runtime_error("cannot start " + command);
}

LineReader::~LineReader() {
    kill();
}

std::string LineReader::line() {
    std::string line;
    for (int c = std::fgetc(output_); c != EOF && c != '\n'; c = std::fgetc(output_))
        line += static_cast<char>(c);
    return line;
}

void LineReader::kill() {
    if (output_ == nullptr)
        return;
    ::kill(pid_, SIGKILL);
    pclose(output_);
    output_ = nullptr;
}

PrivateBus::PrivateBus() : daemon_(daemonCommand(folder())), address_(daemon_.line()) {
    if (address_.empty())
        throw std::runtime_error("dbus-daemon does not start");
    setenv(kAddressVariable, address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    unsetenv(kAddressVariable);
}

void PrivateBus::freeze() const {
    ::kill(daemon_.pid(), SIGSTOP);
}

SilentBus::SilentBus() : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder_ / "bus";
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket_, 8) != 0)
        throw std::runtime_error("cannot listen at " + path);
    setenv(kAddressVariable, ("unix:path=" + path).c_str(), 1);
}

SilentBus::~SilentBus() {
    close(socket_);
    unsetenv(kAddressVariable);
}

}  // namespace tavik::testing
