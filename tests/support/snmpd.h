// A real SNMP agent of the test's own: on a loopback port, with its own configuration and data folder.
#pragma once

#include <cstdint>

#include "tests/support/machine_process.h"

namespace ox::test {

class Snmpd {
 public:
  // Starts the agent and returns when it answers. Versions 1 and 2c; community "public" reads, "private" reads and
  // writes. sysDescr.0 is "agent of the tests", sysContact.0, sysName.0 and sysLocation.0 can be written.
  // `folder` is made, and must be the agent's own. Throws std::runtime_error.
  explicit Snmpd(const std::string& folder);

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

 private:
  [[nodiscard]] bool answers() const;

  std::uint16_t port_ = 0;
  MachineProcess process_;
};

}  // namespace ox::test
