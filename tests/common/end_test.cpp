// The end of a process while other threads are in the library.
#include <thread>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "platform/environment.h"
#include "tests/support/installation.h"
#include "tests/support/other_process.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr int processes = 60;
// Wine 8 has a spin lock of its own around the list of who waits for a lock (RtlWakeAddressSingle). A thread that the
// process's end takes away may hold it, and then the end spins for ever: some of a thousand do. A fault of the library
// shows in more.
constexpr int spinning = OX_SPINNING_ENDS;

void use_for_ever(int kind) {
  for (std::uint32_t i = 0;; ++i) {
    std::uint32_t node = 0;
    std::int32_t value = 0;
    const char* text = nullptr;
    switch (kind) {
      case 0:
        (void)oxcDebugOut("line %u\n", i);
        break;
      case 1:
        (void)oxcStrError(i % 500);
        break;
      case 2:
        (void)oxbEntry("obj.cmn.cmnName", &node);
        (void)oxbApToStr(node, &text);
        break;
      default:
        (void)oxbStrToEnum("many999", &value);
        (void)oxbAmibToDesc("obj.cmn.cmnName.0", &text);
        (void)oxcGetMyComm();
    }
  }
}

int end_in_use(OtherProcess& owner) {
  if (oxbInit(1120) != 0) return 1;
  (void)oxcDebugOutput(0, (work_dir() + "/tmp/end.dbg").c_str());
  (void)oxcSetDebugMask(0x40);
  for (int kind = 0; kind < 8; ++kind) std::thread(use_for_ever, kind % 4).detach();
  platform::sleep_ms(static_cast<std::uint32_t>(std::stoi(owner.text())));
  return 0;
}
const bool declared = OtherProcess::declare("end in use", end_in_use);

TEST(End, OtherThreadsMayUseTheLibraryToTheLast) {
  EXPECT_TRUE(declared);
  const Installation installation;
  std::string enumerations = "obj.cmn.cmnName:\n{\n";
  for (int i = 0; i < 1000; ++i) enumerations += " many" + std::to_string(i) + "(" + std::to_string(i) + ")\n";
  write_file(work_dir() + "/public/amib/end.enm", enumerations + "}\n");
  write_file(work_dir() + "/public/amib/end.dsc", "obj.cmn.cmnName\ta text\n");
  int not_ended = 0;
  for (int i = 0; i < processes && not_ended <= spinning; ++i) {
    const int status = OtherProcess::start("end in use", std::to_string(i % 12)).wait(std::chrono::seconds(20));
    not_ended += status == -1 ? 1 : 0;
    EXPECT_TRUE(status == 0 || status == -1) << i << ": " << status;
  }
  EXPECT_GE(spinning, not_ended) << "of " << processes;
  EXPECT_EQ("", OtherProcess::log());
}

}  // namespace
}  // namespace ox::test
