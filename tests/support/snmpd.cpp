#include "tests/support/snmpd.h"

#include <stdexcept>

#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

// A get request of version 1 for sysUpTime.0, community "public".
constexpr std::string_view probe(
    "\x30\x26\x02\x01\x00\x04\x06public\xA0\x19\x02\x01\x01\x02\x01\x00\x02\x01\x00\x30\x0E\x30\x0C\x06\x08"
    "\x2B\x06\x01\x02\x01\x01\x03\x00\x05\x00",
    40);

}  // namespace

Snmpd::Snmpd(const std::string& folder) {
  const std::string log = folder + "/snmpd.log";
  const std::string files = machine_path(folder);
  // Nothing of the machine itself can be set: its interfaces are real.
  write_file(
      folder + "/snmpd.conf",
      "rocommunity public 127.0.0.1\nrwcommunity private 127.0.0.1 .1.3.6.1.2.1.1\nsysDescr agent of the tests\n");
  write_file(log, "");
  // Another process may take the port between the look and the start: then the agent ends, and the next one is tried.
  for (int attempt = 0; attempt < 5; ++attempt) {
    port_ = UdpSocket().port();
    process_ = MachineProcess({"snmpd", "-f", "-Lo", "-C", "-c", files + "/snmpd.conf", "-p", files + "/snmpd.pid",
                               "-I", "-smux", "127.0.0.1:" + std::to_string(port_)},
                              log, folder);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (process_.running() && std::chrono::steady_clock::now() < end) {
      if (answers()) return;
    }
  }
  throw std::runtime_error("snmpd does not answer: " + read_file(log));
}

bool Snmpd::answers() const {
  UdpSocket socket;
  socket.send(probe, port_);
  return !socket.receive(std::chrono::milliseconds(100)).empty();
}

}  // namespace ox::test
