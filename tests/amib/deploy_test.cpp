// Brace expansion.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

namespace {

constexpr uint32_t room = 10000;
std::array<char*, room> results;

// The results, each ended by "|", or the result code.
std::string deploy(const std::string& pattern, uint32_t capacity = room) {
  uint32_t count = 77;
  const OX_RESULT result = oxbDeploy(pattern.c_str(), &count, results.data(), capacity);
  std::string text = result != 0 ? std::to_string(result) + ":" + std::to_string(count) : "";
  for (uint32_t i = 0; i < count; ++i) {
    text += std::string(results[i]) + "|";
    (void)oxcMemFree(results[i]);
  }
  return text;
}

TEST(Deploy, Combinations) {
  const char* const rows[][2] = {
      {"sys.a", "sys.a|"},
      {"sys.{a,b}.x{1,2}", "sys.a.x1|sys.a.x2|sys.b.x1|sys.b.x2|"},
      {"a,b.{1,2}", "a|b.1|b.2|"},
      {"a{b{c,d},e}f", "abcf|abdf|aef|"},
      {"{{a,b},{c,d{1,2}}}{x,y}", "ax|ay|bx|by|cx|cy|d1x|d1y|d2x|d2y|"},
      {"a{,b}", "a|ab|"},
      {"", "|"},
      {"a,,b", "a||b|"},
      {"{}", "|"},
      {"{{{a}}}", "a|"},
      {"{a,b", "128:0"},
      {"a,b}", "128:0"},
      {"}{", "128:0"},
      {"{a}}", "128:0"},
  };
  for (const auto& [pattern, expected] : rows) EXPECT_EQ(expected, deploy(pattern)) << pattern;
}

TEST(Deploy, LimitsAreKnownBeforeAnythingIsMade) {
  const uint32_t before = oxcGetMemValue(1);
  const std::string longest(4095, 'x');
  EXPECT_EQ(longest + "|", deploy(longest));
  EXPECT_EQ("126:0", deploy("{a,b}," + longest + "{,y}"));
  EXPECT_EQ("a|b|", deploy("{a,b}", 2));
  EXPECT_EQ("85:0", deploy("{a,b},c", 2));
  std::string bomb;
  for (int i = 0; i < 200; ++i) bomb += "{,,}";
  EXPECT_EQ("85:0", deploy(bomb));
  EXPECT_EQ("128:0", deploy(std::string(100000, '{')));
  EXPECT_EQ("a|", deploy(std::string(100000, '{') + "a" + std::string(100000, '}')));
  std::string wide = "a";
  for (int i = 1; i < 10000; ++i) wide += ",a";
  EXPECT_EQ(20000u, deploy(wide).size());
  EXPECT_EQ(before, oxcGetMemValue(1));

  uint32_t count = 0;
  EXPECT_EQ(1u, oxbDeploy(nullptr, &count, results.data(), 1));
  EXPECT_EQ(1u, oxbDeploy("a", nullptr, results.data(), 1));
  EXPECT_EQ(1u, oxbDeploy("a", &count, nullptr, 1));
}

}  // namespace
