// Forked children: what another thread held at the fork, and the trace of a daemon. Messages of a process of the
// service manager, which has no user to show them to.
#include <atomic>
#include <cstdlib>
#include <regex>

#include <oxbase/oxc.h>

#include "common/error_text.h"
#include "common/settings.h"
#include "common/trace_control.h"
#include "platform/environment.h"
#include "tests/platform/forked.h"
#include "tests/support/in_threads.h"
#include "tests/support/registry.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

template <class Body>
int in_child(Body body) {
  return end_of(start_child<std::_Exit>(body));
}

int use_everything(int) {
  oxcDebugOut("a line\n");
  detach_error_texts();
  const bool good = std::string_view(oxcStrError(7)) == "seven" && settings::number("Some", 0) == 5;
  return good && oxcGetDebugMask() == 0 ? 0 : 1;
}

TEST(Fork, AChildWaitsForNoLockOfAnotherThread) {
  for (const char* language : {"0409", "0411"}) {
    write_file(home_dir() + "/LIB/LOCALE/" + language + "/OXERROR.MSG", "7:seven\r\n");
  }
  set_value("Some", 5u);
  trace::attach();
  ASSERT_EQ(0u, oxcDebugOutput(0, (work_dir() + "/tmp/fork.dbg").c_str()));
  (void)oxcSetDebugMask(0x40);
  std::atomic<bool> going{true};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&going, i] {
      while (going) {
        if (i == 0) set_value("Other", static_cast<std::uint32_t>(rand()));
        if (i != 1) oxcDebugOut("of a thread %d\n", i);
        (void)settings::number("Some", 0);
      }
    });
  }
  int failed = 0;
  for (int i = 0; i < 100; ++i) failed += in_child([i] { return use_everything(i); }) != 0 ? 1 : 0;
  EXPECT_EQ(0, failed);
  going = false;
  for (std::thread& thread : threads) thread.join();
  trace::detach();
  detach_error_texts();
}

bool traced_by_its_child(pid_t parent) {
  const auto id = static_cast<std::uint32_t>(getpid());
  oxcDebugControl control{};
  if (oxcDebugGetControl(id, &control) != OX_OK) return false;
  if (control.mask != 0 || control.console != 1 || control.file != 0) return false;
  // As another process does it.
  control = {0x40, 0, 1};
  if (oxcDebugSetControl(id, &control) != OX_OK) return false;
  oxcDebugOut("the child's\n");
  // Its own child, by the same road.
  const int grandchild = in_child([] { return oxcGetDebugMask() == 0 && oxcDebugOut("no line\n") == 0 ? 0 : 1; });
  return grandchild == 0 && oxcDebugGetControl(static_cast<std::uint32_t>(parent), &control) == OX_OK;
}

TEST(Fork, ADaemonIsTracedByItsOwnBlockAndFile) {
  const std::string path = work_dir() + "/tmp/parent";
  trace::attach();
  ASSERT_EQ(0u, oxcDebugOutput(0, (path + ".dbg").c_str()));
  (void)oxcSetDebugMask(0x40);
  oxcDebugOut("before\n");
  const pid_t parent = getpid();
  EXPECT_EQ(0, in_child([&] { return traced_by_its_child(parent) ? 0 : 1; }));
  oxcDebugOut("after\n");
  EXPECT_EQ(0x40u, oxcGetDebugMask());
  trace::detach();
  EXPECT_EQ("before\nafter\n", read_text(path + "_00.dbg").substr(0, 13));
}

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
