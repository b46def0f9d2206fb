// Brace expansion.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

namespace {

constexpr uint32_t room = 10000;

// The results, each ended by "|", or the result code and the count.
std::string deploy(const std::string& pattern, uint32_t capacity = room) {
  static std::array<char*, room> results;
  uint32_t count = 77;
  const OX_RESULT result = oxbDeploy(pattern.c_str(), &count, results.data(), capacity);
  std::string text = result != 0 ? std::to_string(result) + ":" + std::to_string(count) : "";
  for (uint32_t i = 0; i < count; ++i) {
    text += std::string(results[i]) + "|";
    (void)oxcMemFree(results[i]);
  }
  return text;
}

TEST(Deploy, CombinationsWithinLimits) {
  const std::string longest(4095, 'x'), open(100000, '{'), close(100000, '}');
  std::string bomb, wide = "a";
  for (int i = 0; i < 200; ++i) bomb += "{,,}";
  for (int i = 1; i < 10000; ++i) wide += ",a";
  const struct {
    std::string pattern, expected;
    uint32_t capacity = room;
  } rows[] = {
      {"sys.a", "sys.a|"},
      {"sys.{a,b}.x{1,2}", "sys.a.x1|sys.a.x2|sys.b.x1|sys.b.x2|"},
      {"a,b.{1,2}", "a|b.1|b.2|"},
      {"a{b{c,d},e}f", "abcf|abdf|aef|"},
      {"{{a,b},{c,d{1,2}}}{x,y}", "ax|ay|bx|by|cx|cy|d1x|d1y|d2x|d2y|"},
      {"a{,b}", "a|ab|"},
      {"", "|"},
      {"a,,b", "a||b|"},
      {"{}", "|"},
      {"{a,b", "128:0"},
      {"a,b}", "128:0"},
      {"}{", "128:0"},
      {"{a}}", "128:0"},
      {longest, longest + "|"},
      {"{a,b}," + longest + "{,y}", "126:0"},
      {"{a,b}", "a|b|", 2},
      {"{a,b},c", "85:0", 2},
      {bomb, "85:0"},
      {open, "128:0"},
      {open + "a" + close, "a|"},
  };
  const uint32_t before = oxcGetMemValue(1);
  for (const auto& row : rows) EXPECT_EQ(row.expected, deploy(row.pattern, row.capacity)) << row.pattern.substr(0, 60);
  EXPECT_EQ(20000u, deploy(wide).size());
  EXPECT_EQ(before, oxcGetMemValue(1));
  uint32_t count = 0;
  char* result = nullptr;
  EXPECT_EQ(1u, oxbDeploy(nullptr, &count, &result, 1));
  EXPECT_EQ(1u, oxbDeploy("a", nullptr, &result, 1));
  EXPECT_EQ(1u, oxbDeploy("a", &count, nullptr, 1));
}

}  // namespace
