// The token splitter and the wildcard matcher.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <oxbase/oxc.h>

namespace {

TEST(Token, QuotesEscapesAndDoubleBytes) {
  const struct {
    const char* line;
    const char* separators;
    uint32_t maximum;
    OX_RESULT result;
    std::vector<std::string> tokens;
  } cases[] = {
      {"", nullptr, 8, 0, {}},
      {" \t ", nullptr, 8, 0, {}},
      {"  a  b\tc\t", nullptr, 8, 0, {"a", "b", "c"}},
      {"x\"b c\"d 'x\"y' \"'\"", nullptr, 8, 0, {"xb cd", "x\"y", "'"}},
      {"\"\" a ''", nullptr, 8, 0, {"", "a", ""}},
      {"a\\ b \"q\\\"r\" \\\\ z\\", nullptr, 8, 0, {"a b", "q\"r", "\\", "z\\"}},
      {"..1..2.3.", ".", 8, 0, {"1", "2", "3"}},
      {"a b.c", ".", 8, 0, {"a b", "c"}},
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
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    const std::string given(c.line);
    std::vector<char> line(given.c_str(), given.c_str() + given.size() + 1);  // exact, so that an overread is seen
    std::vector<char*> tokens(c.maximum);
    uint32_t count = 77;
    EXPECT_EQ(c.result, oxcToken(line.data(), c.separators, tokens.data(), c.maximum, &count));
    EXPECT_EQ(c.tokens, std::vector<std::string>(tokens.begin(), tokens.begin() + count));
  }
  EXPECT_EQ(1u, oxcToken(nullptr, nullptr, nullptr, 0, nullptr));
}

TEST(Wildcard, Patterns) {
  // "pattern text"; a double-byte character is one character, and its second byte none at all.
  const std::string matching =
      " |* |a* a|*a ba|a*b*c a1b2b3c|?b? abc|*?b** ab|*aab aaaab|? \x83\x5C|\x83* \x83*|*\x83\x5C? a\x83\x5C\x62|? "
      "\x83";
  const std::string failing = " a|? |a A|a*b abc|?? abc|ab abc|abc ab|?? \x83\x5C|\x83* \x83\x5C|*\x5C \x83\x5C";
  for (const auto& [rows, expected] : {std::pair{matching, 1u}, {failing, 0u}}) {
    std::istringstream lines(rows);
    for (std::string row; std::getline(lines, row, '|');) {
      const std::string pattern = row.substr(0, row.find(' '));
      const std::string text = row.substr(row.find(' ') + 1);
      EXPECT_EQ(expected, oxcRegMatch(pattern.c_str(), text.c_str())) << testing::PrintToString(row);
      EXPECT_EQ(expected, oxcRegMatch2(pattern.c_str(), text.c_str())) << testing::PrintToString(row);
    }
  }
  EXPECT_EQ(0u, oxcRegMatch(nullptr, "a"));
  EXPECT_EQ(0u, oxcRegMatch2("a", nullptr));
}

TEST(Wildcard, ManyStarsEnd) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) pattern += "*a";
  pattern += "b";
  EXPECT_EQ(0u, oxcRegMatch(pattern.c_str(), std::string(20000, 'a').c_str()));
}

}  // namespace
