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
  const struct {
    const char* contents;
    uint32_t port;
  } rows[] = {
      {"SockPort: 9000\n", 9000}, {"# comment\nbroken line\nother:'\nSockPort:\t\"9001\" more\nSockPort: 9002\n", 9001},
      {"SockPort: 65535", 65535}, {"SockPort: 65536\n", 8806},
      {"SockPort: 0\n", 8806},    {"SockPort: 0x2328\n", 8806},
      {"SockPort: -1\n", 8806},   {"SockPort:\n", 8806},
      {"sockport: 9000\n", 8806}};
  for (const auto& row : rows) {
    set_settings(row.contents);
    EXPECT_EQ(row.port, oxcGetPortNumber()) << row.contents;
  }
}

TEST(DaemonSettings, TheThreadsOwnFileIsNotTouched) {
  set_settings("SockPort: 9000\n");
  const std::string path = ox::test::work_dir() + "/own.def";
  ox::test::write_file(path, "#\na:\nb:\n");
  oxcConfigEntry entry;
  ASSERT_EQ(0u, oxcSetConfigEntry(path.c_str()));
  ASSERT_EQ(0u, oxcGetConfigEntry(nullptr, nullptr, nullptr, &entry));
  EXPECT_EQ(9000u, oxcGetPortNumber());
  EXPECT_EQ(2u, oxcGetConflineno());
  ASSERT_EQ(0u, oxcGetConfigEntry(nullptr, nullptr, nullptr, &entry));
  EXPECT_STREQ("b", entry.keyword);
  (void)oxcEndConfigEntry();
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
  for (const std::string& good :
       {std::string("a"), std::string("HOST1"), std::string("1-a_b.c"), std::string(63, 'x')}) {
    EXPECT_TRUE(ox::comm_namecheck(good)) << good;
  }
  for (const std::string& bad :
       {std::string(), std::string("a b"), std::string("a:b"), std::string("*"), std::string("a,b"),
        std::string("\x83\x5C"), std::string(64, 'x'), std::string("a\0", 2)}) {
    EXPECT_FALSE(ox::comm_namecheck(bad)) << bad;
  }
}

}  // namespace
