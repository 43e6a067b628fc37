#include "tests/messaging/PrivateBus.h"

#include <signal.h>

#include <cstdlib>
#include <stdexcept>

namespace tavik::testing {
namespace {

/// Ends with the test, however that ends.
std::vector<std::string> daemonCommand(const std::string& parent) {
    std::filesystem::create_directory(parent + "/run 100%");
    return {
        "setpriv",     "--pdeathsig",       "KILL",
        "dbus-daemon", "--session",         "--nofork",
        "--nopidfile", "--print-address=1", "--address=unix:path=" + parent + "/run%20100%25/bus"};
}

}  // namespace

PrivateBus::PrivateBus()
    : daemon_(daemonCommand(folder_.path().string()), {}), address_(daemon_.line()) {
    if (address_.empty())
        throw std::runtime_error("dbus-daemon does not start: " + daemon_.wait().err);
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void PrivateBus::kill() {
    daemon_.kill(SIGKILL);
    daemon_.wait();
}

void PrivateBus::freeze() {
    daemon_.kill(SIGSTOP);
}

}  // namespace tavik::testing
