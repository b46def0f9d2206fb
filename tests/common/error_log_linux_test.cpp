// Messages without a user to show them to: a process of the service manager.
#include <regex>

#include <oxbase/oxc.h>

#include "platform/environment.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

TEST(ErrorLog, MessagesGoToTheUserOrToTheSystemLog) {
  set_environment("LC_ALL", "C");
  write_file(home_dir() + "/LIB/LOCALE/0409/OXERROR.MSG", "7:Text.\r\n");
  const std::string log = system_root() + "/system.log";
  write_file(log, "");
  testing::internal::CaptureStderr();
  EXPECT_EQ(OX_OK, oxcPerrorMsgBox2("Prog", "here", 7));
  EXPECT_EQ(OX_OK, oxcPerrorMsgBox("Prog", 0));
  EXPECT_EQ("Prog: here: Text.\n", testing::internal::GetCapturedStderr());
  EXPECT_EQ("", read_file(log));

  setenv("SYSTEMD_EXEC_PID", std::to_string(platform::process_id()).c_str(), 1);
  for (const char* program : {"oxbase", "OXEXPD", "oxlogd", "other"}) oxcPerrorMsgBox(program, 7);
  EXPECT_EQ(OX_OK, oxcSystemLog("Own", 2, "two\r\nlines 100%s"));
  EXPECT_EQ(OX_EARG, oxcSystemLog("Own", 3, "no such type"));
  const std::regex head(R"(.*Z (\w+)\[\d+\] (\w+):)");
  EXPECT_EQ(
      "TesBaseService error Text.\nTesExpertService error Text.\nTesLoggingService error Text.\nother error Text.\n"
      "Own warning two lines 100%s\n",
      std::regex_replace(read_file(log), head, "$1 $2"));
}

}  // namespace
}  // namespace ox::test
