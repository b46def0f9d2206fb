// The token splitter and the wildcard matcher.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <oxbase/oxc.h>

namespace {

struct TokenCase {
  const char* line;
  const char* separators;
  uint32_t maximum;
  OX_RESULT result;
  std::vector<std::string> tokens;
};

TEST(Token, QuotesEscapesAndDoubleBytes) {
  const TokenCase cases[] = {
      {"", nullptr, 8, 0, {}},
      {" \t ", nullptr, 8, 0, {}},
      {"  a  b\tc\t", nullptr, 8, 0, {"a", "b", "c"}},
      {"a\n", nullptr, 8, 0, {"a\n"}},
      {"x\"b c\"d 'x\"y' \"'\"", nullptr, 8, 0, {"xb cd", "x\"y", "'"}},
      {"\"\" a ''", nullptr, 8, 0, {"", "a", ""}},
      {"a\\ b \"q\\\"r\" \\\\ z\\", nullptr, 8, 0, {"a b", "q\"r", "\\", "z\\"}},
      {"..1..2.3.", ".", 8, 0, {"1", "2", "3"}},
      {"a b.c", ".", 8, 0, {"a b", "c"}},
      {"a b", "", 8, 0, {"a b"}},
      {"a b c", nullptr, 3, 0, {"a", "b", "c"}},
      {"a b c \"d", nullptr, 2, 86, {"a", "b"}},
      {"a", nullptr, 0, 86, {}},
      {"a \"b c", nullptr, 8, 68, {"a", "b c"}},
      {"a 'b\\' c", nullptr, 8, 68, {"a", "b' c"}},
      {"\"", nullptr, 8, 68, {""}},
      // The trail bytes of these characters are those of a backslash, a separator and a quote.
      {"\x83\x5C x", nullptr, 8, 0, {"\x83\x5C", "x"}},
      {"\"\x83\x5C\" x", nullptr, 8, 0, {"\x83\x5C", "x"}},
      {"a\xE0\x7C|b", "|", 8, 0, {"a\xE0\x7C", "b"}},
      {"\x81\x22z \x81\x27", nullptr, 8, 0, {"\x81\x22z", "\x81\x27"}},
      {"\\\x83\x5C b", nullptr, 8, 0, {"\x83\x5C", "b"}},
      {"\xB1\\ \xB2 c", nullptr, 8, 0, {"\xB1 \xB2", "c"}},  // half-width letters are single bytes
      {"a \x83", nullptr, 8, 0, {"a", "\x83"}},
  };
  for (const TokenCase& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string given(c.line);
    std::vector<char> line(given.c_str(), given.c_str() + given.size() + 1);  // exact, so that an overread is seen
    std::vector<char*> tokens(c.maximum);
    uint32_t count = 77;
    EXPECT_EQ(c.result, oxcToken(line.data(), c.separators, tokens.data(), c.maximum, &count));
    EXPECT_EQ(c.tokens, std::vector<std::string>(tokens.begin(), tokens.begin() + count));
  }
}

TEST(Token, ArgumentsAreChecked) {
  char line[] = "a";
  char* token = nullptr;
  uint32_t count = 0;
  EXPECT_EQ(1u, oxcToken(nullptr, nullptr, &token, 1, &count));
  EXPECT_EQ(1u, oxcToken(line, nullptr, nullptr, 1, &count));
  EXPECT_EQ(1u, oxcToken(line, nullptr, &token, 1, nullptr));
}

TEST(Wildcard, Patterns) {
  const struct {
    const char* pattern;
    const char* text;
    uint32_t matches;
  } cases[] = {
      {"", "", 1},
      {"", "a", 0},
      {"*", "", 1},
      {"?", "", 0},
      {"a", "A", 0},
      {"a*", "a", 1},
      {"*a", "ba", 1},
      {"a*b*c", "a1b2b3c", 1},
      {"a*b", "abc", 0},
      {"?b?", "abc", 1},
      {"??", "abc", 0},
      {"*?b**", "ab", 1},
      {"ab", "abc", 0},
      {"abc", "ab", 0},
      {"*aab", "aaaab", 1},
      {"?", "\x83\x5C", 1},  // one double-byte character
      {"??", "\x83\x5C", 0},
      {"\x83*", "\x83\x2A", 1},  // a double-byte character, not a star
      {"\x83*", "\x83\x5C", 0},
      {"*\x5C", "\x83\x5C", 0},  // its trail byte is no character
      {"*\x83\x5C?",
       "a\x83\x5C"
       "b",
       1},
      {"?", "\x83", 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.matches, oxcRegMatch(c.pattern, c.text)) << c.pattern << " on " << c.text;
    EXPECT_EQ(c.matches, oxcRegMatch2(c.pattern, c.text)) << c.pattern << " on " << c.text;
  }
  EXPECT_EQ(0u, oxcRegMatch(nullptr, "a"));
  EXPECT_EQ(0u, oxcRegMatch("a", nullptr));
}

TEST(Wildcard, ManyStarsEnd) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) pattern += "*a";
  pattern += "b";
  EXPECT_EQ(0u, oxcRegMatch(pattern.c_str(), std::string(20000, 'a').c_str()));
}

}  // namespace
