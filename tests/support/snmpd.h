// A real SNMP agent of the test's own: on a loopback port, with its own configuration and data folder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/machine_process.h"

namespace ox::test {

class Snmpd {
 public:
  // Starts the agent and returns when it answers. Versions 1 and 2c; community "public" reads, "private" reads and
  // writes. sysDescr.0 is "agent of the tests", sysContact.0, sysName.0 and sysLocation.0 can be written.
  // `folder` is made, and must be the agent's own; `configuration` is added to its file. Throws std::runtime_error.
  explicit Snmpd(const std::string& folder, const std::string& configuration = {});

  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

 private:
  void start();
  bool answers();

  std::string folder_;
  std::uint16_t port_ = 0;
  MachineProcess process_;
};

}  // namespace ox::test
