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
  for (int i = 0; i < processes; ++i) {
    EXPECT_EQ(0, OtherProcess::start("end in use", std::to_string(i % 12)).wait(std::chrono::seconds(60))) << i;
  }
  EXPECT_EQ("", OtherProcess::log());
}

}  // namespace
}  // namespace ox::test
