// What the library reads of the daemon's settings.
#include "deffile/daemon_settings.h"

#include <gtest/gtest.h>

#include <string>

#include <oxbase/oxc.h>

#include "platform/environment.h"
#include "tests/support/system_root.h"

namespace {

void set_settings(const std::string& contents) {
  ox::test::write_file(ox::test::work_dir() + "/conf/oxmgrd.cf", contents);
}

TEST(DaemonSettings, PortNumber) {
  EXPECT_EQ(8806u, oxcGetPortNumber());
  const std::pair<const char*, uint32_t> rows[] = {
      {"SockPort: 9000\n", 9000}, {"# comment\nbroken line\nother:'\nSockPort:\t\"9001\" more\nSockPort: 9002\n", 9001},
      {"SockPort: 65535", 65535}, {"SockPort: 65536\n", 8806},
      {"SockPort: 0\n", 8806},    {"SockPort: 0x2328\n", 8806},
      {"SockPort: -1\n", 8806},   {"SockPort:\n", 8806},
      {"sockport: 9000\n", 8806}};
  for (const auto& [contents, port] : rows) {
    set_settings(contents);
    EXPECT_EQ(port, oxcGetPortNumber()) << contents;
  }
}

// The name is made once per process, so each form has a test case of its own.
TEST(ManagerName, Configured) {
  set_settings("CommunityName: \"east-1.example_net\"\n");
  EXPECT_STREQ("east-1.example_net", oxcGetMyComm());
  set_settings("CommunityName: later\n");
  EXPECT_STREQ("east-1.example_net", oxcGetMyComm());
}
TEST(ManagerName, ConfiguredButNotPossible) {
  set_settings("CommunityName: \"two words\"\n");
  EXPECT_STREQ("manager1", oxcGetMyComm());
}
TEST(ManagerName, MadeOfTheHostName) {
  set_settings("CommunityName:\n");
  const std::string host = ox::platform::computer_name();
  EXPECT_EQ(ox::comm_namecheck("mgr_" + host) && !host.empty() ? "mgr_" + host : "manager1", oxcGetMyComm());
}

TEST(ManagerName, Check) {
  using namespace std::string_literals;
  for (const std::string& good : {"a"s, "HOST1"s, "1-a_b.c"s, std::string(63, 'x')}) {
    EXPECT_TRUE(ox::comm_namecheck(good)) << good;
  }
  for (const std::string& bad : {""s, "a b"s, "a:b"s, "*"s, "a,b"s, "\x83\x5C"s, "a\0"s, std::string(64, 'x')}) {
    EXPECT_FALSE(ox::comm_namecheck(bad)) << bad;
  }
}

}  // namespace
