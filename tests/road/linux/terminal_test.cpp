// Tools at a terminal: they ask before they delete, and tell what takes long.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "tests/road/daemon.h"

namespace ox::test {
namespace {

// What a tool shows at a terminal where somebody types that.
std::string at_terminal(const std::string& typed, const std::string& line) {
  const std::string command = "printf '" + typed + "' | script -qec '" OX_PROGRAMS "/" + line + "' /dev/null";
  const std::unique_ptr<FILE, int (*)(FILE*)> shell(popen(command.c_str(), "r"), pclose);
  std::string shown;
  for (int c = 0; (c = std::fgetc(shell.get())) != EOF;) shown += static_cast<char>(c);
  return shown;
}

TEST(Terminal, DeletingIsAskedAboutAndWaitingIsTold) {
  Daemon daemon;
  expect({
      {"oxset --add node:mute obj.node.nodeAddress.0 127.0.0.1 obj.node.nodeSnmpVersion.0 v2c obj.node.nodePort.0 1",
       "0 "},
      {"oxlog create node:mute .system.sysUpTime.0 -i 1s", "0 logEnt1\n"},
  });
  const std::string waiting = at_terminal("", "oxlog fit logEnt1");
  EXPECT_NE(waiting.npos, waiting.find("asking each agent once (1 s)")) << waiting;
  for (const char* const no : {"n\\n", "\\n", ""}) {
    const std::string asked = at_terminal(no, "oxlog delete logEnt1");
    EXPECT_NE(asked.npos, asked.find("and its 0 data entries (0 bytes)\r\nDelete them? [y/N] ")) << asked;
    EXPECT_EQ("0 ", run("oxlog show logEnt1").substr(0, 2)) << no;
  }
  (void)at_terminal("y\\n", "oxlog delete logEnt1");
  EXPECT_EQ("1 ", run("oxlog show logEnt1").substr(0, 2));
}

}  // namespace
}  // namespace ox::test
