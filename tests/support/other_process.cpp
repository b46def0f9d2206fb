#include "tests/support/other_process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "tests/support/own_program.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

using platform::Access;

constexpr char marker[] = "--part";
constexpr std::uint32_t patience_ms = 20'000;

std::map<std::string, OtherProcess::Part>& parts() {
  static std::map<std::string, OtherProcess::Part> declared;
  return declared;
}

[[maybe_unused]] const bool known = (part_runner() = &OtherProcess::run) != nullptr;

}  // namespace

bool OtherProcess::declare(const char* name, Part part) { return parts().emplace(name, part).second; }

OtherProcess::OtherProcess(const std::string& part, const std::string& text) {
  EXPECT_EQ(platform::error_none, ours_.create("turn.test", Access::machine));
  EXPECT_EQ(platform::error_none, theirs_.create("turn.part", Access::machine));
  process_ = ChildProcess({own_program(), marker, part, text}, system_root() + "/part.log");
}

bool OtherProcess::wait() {
  if (ours_.wait(patience_ms) != platform::error_none) return false;
  ours_.reset();
  return true;
}

bool OtherProcess::run(int argc, char** argv, int& status) {
  if (argc != 4 || std::string(argv[1]) != marker) return false;
  OtherProcess owner;
  owner.text_ = argv[3];
  const bool opened =
      owner.ours_.open("turn.part") == platform::error_none && owner.theirs_.open("turn.test") == platform::error_none;
  status = opened && owner.wait() ? parts().at(argv[2])(owner) : 99;
  return true;
}

}  // namespace ox::test
