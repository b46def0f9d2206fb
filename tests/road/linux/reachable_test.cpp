// Whether nodes are reachable: in a network of the test's own, whose settings it may change.
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "tests/road/daemon.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

bool enter_network() {
  if (::unshare(CLONE_NEWNET) != 0) return false;
  const int any = ::socket(AF_INET, SOCK_DGRAM, 0);
  ifreq loopback{};
  std::strcpy(loopback.ifr_name, "lo");
  loopback.ifr_flags = IFF_UP;
  const bool up = ::ioctl(any, SIOCSIFFLAGS, &loopback) == 0;
  (void)::close(any);
  return up;
}

void let_groups_send(const char* range) { write_file("/proc/sys/net/ipv4/ping_group_range", range); }

TEST(Reachable, NodesAnswerOrDoNotOrMayNotBeAsked) {
  if (!enter_network()) GTEST_SKIP() << "NOT TESTED: a network of its own is for root alone";
  let_groups_send("0 2147483647");
  Daemon daemon;
  const std::string quick = " obj.node.nodeTimeout.0 300 obj.node.nodeRetries.0 1";
  const std::string both = " obj.node.nodeReachable.0,obj.node.nodeRoundTrip.0";
  expect({
      {"oxset --add node:a obj.node.nodeAddress.0 127.0.0.1" + quick, "0 "},
      {"oxset --add node:far obj.node.nodeAddress.0 192.0.2.1" + quick, "0 "},
      {"oxset --add node:none obj.node.nodeRetries.0 1", "0 "},
      {"oxget node:a obj.node.nodeReachable.0", "~0 yes(1)"},
      {"oxget node:far obj.node.nodeReachable.0", "~0 no(2)"},
      {"oxget node:far" + both, "~1 158"},
      {"oxget node:none" + both, "~1 195"},
      {"oxget node:a obj.node.nodeReachable.1", "~1 157"},
      {"oxget system:system obj.node.nodeReachable.0", "~1 157"},
      {"oxset node:a obj.node.nodeReachable.0 1", "~1 5"},
  });
  const std::string round_trip = run("oxget node:a obj.node.nodeRoundTrip.0");
  EXPECT_EQ("0 ", round_trip.substr(0, 2)) << round_trip;
  write_file("/proc/sys/net/ipv4/icmp_echo_ignore_all", "1");
  expect({{"oxget node:a obj.node.nodeReachable.0", "~0 no(2)"}});
  // A client with many that take their whole time does not keep another one waiting to their end.
  const std::string silent = " obj.node.nodeTimeout.0 1000 obj.node.nodeRetries.0 0 obj.node.nodeAddress.0 127.1.0.";
  for (int i = 1; i <= 70; ++i) (void)run("oxset --add node:many" + std::to_string(i) + silent + std::to_string(i));
  const Started many("oxget node:* obj.node.nodeReachable.0");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  expect({{"oxset --add node:late" + silent + "99", "0 "}, {"oxget node:late obj.node.nodeReachable.0", "~0 no(2)"}});
  EXPECT_EQ("", read_file(many.output));
  (void)many.until("many70  obj.node.nodeReachable.0  no(2)");
  let_groups_send("1 0");
  expect({{"oxget node:a" + both, "~1 5"}, {"oxmgrd --check", "~0 net.ipv4.ping_group_range"}});
}

}  // namespace
}  // namespace ox::test
