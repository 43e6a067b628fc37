#pragma once

#include <string>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// A session bus that only the test knows, and DBUS_SESSION_BUS_ADDRESS with it.
class PrivateBus {
  public:
    PrivateBus();
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return address_; }

    /// The bus's socket is "bus" in here; the folder's name needs escapes in an address.
    std::string folder() const { return folder_ / "run 100%"; }

    /// The bus is gone when this returns.
    void kill();

    /// From now on the bus accepts whatever comes, and answers nothing.
    void freeze();

  private:
    TemporaryFolder folder_;
    Process daemon_;
    std::string address_;
};

}  // namespace tavik::testing
