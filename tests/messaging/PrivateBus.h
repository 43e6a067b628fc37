#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// A program that is read line by line while it runs. It dies with this object, and with the test.
class LineReader {
  public:
    /// `command` is a shell's, one program with its arguments.
    explicit LineReader(const std::string& command);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    pid_t pid() const { return pid_; }

    /// The next line, waited for, without its line end; "" at the end of the output.
    std::string line();

    /// Ends the program at once; it is gone when this returns.
    void kill();

  private:
    FILE* output_;
    pid_t pid_;
};

/// A session bus that only the test knows, made known to it by DBUS_SESSION_BUS_ADDRESS.
class PrivateBus {
  public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return address_; }

    /// Where the folder of the bus is; its socket is called "bus".
    std::string folder() const { return folder_ / "run 100%"; }

    void kill() { daemon_.kill(); }

    /// Lets the bus accept what comes and answer nothing.
    void freeze() const;

  private:
    TemporaryFolder folder_;
    LineReader daemon_;
    std::string address_;
};

/// A socket to which everybody can connect and that never answers, made known in the same way.
class SilentBus {
  public:
    SilentBus();
    ~SilentBus();
    SilentBus(const SilentBus&) = delete;
    SilentBus& operator=(const SilentBus&) = delete;

  private:
    TemporaryFolder folder_;
    int socket_;
};

}  // namespace tavik::testing
