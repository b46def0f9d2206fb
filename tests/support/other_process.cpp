#include "tests/support/other_process.h"

#include <map>

#include "tests/support/system_root.h"

namespace ox::test {
namespace {

using platform::Access;

constexpr char as_process[] = "--process";
constexpr std::uint32_t patience_ms = 20'000;

std::map<std::string, OtherProcess::Part>& parts() {
  static std::map<std::string, OtherProcess::Part> declared;
  return declared;
}

std::string log_file() { return system_root() + "/part.log"; }

}  // namespace

std::string& own_program() {
  static std::string path;
  return path;
}

bool OtherProcess::declare(const char* name, Part part) { return parts().emplace(name, part).second; }

OtherProcess::OtherProcess(const std::string& part, const std::string& text) {
  EXPECT_EQ(platform::error_none, ours_.create("turn.test", Access::machine));
  EXPECT_EQ(platform::error_none, theirs_.create("turn.part", Access::machine));
  process_ = start(part, text);
}

Program OtherProcess::start(const std::string& part, const std::string& text) {
  return started({own_program(), as_process, part, text}, log_file());
}

std::string OtherProcess::log() { return read_file(log_file()); }

bool OtherProcess::wait() {
  if (ours_.wait(patience_ms) != platform::error_none) return false;
  ours_.reset();
  return true;
}

bool OtherProcess::run(int argc, char** argv, int& status) {
  if (argc < 4 || argv[1] != std::string(as_process)) return false;
  OtherProcess owner;
  owner.text_ = argv[3];
  for (int i = 4; i < argc; ++i) owner.text_.append(" ").append(argv[i]);
  // Where nobody has made the events, it begins at once.
  const bool in_turns = owner.ours_.open("turn.part") == platform::error_none;
  const bool ready = !in_turns || (owner.theirs_.open("turn.test") == platform::error_none && owner.wait());
  status = ready ? parts().at(argv[2])(owner) : 99;
  return true;
}

}  // namespace ox::test
