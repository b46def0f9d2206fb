// The token splitter and the wildcard matcher.
#include <oxbase/oxc.h>

#include "tests/support/code_page.h"
#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace {

using ox::test::repeated, ox::test::split;

TEST(Token, QuotesEscapesAndDoubleBytes) {
  ox::test::set_code_page(932);
  // Line, separators, room, result, tokens.
  const std::tuple<std::string, const char*, uint32_t, OX_RESULT, std::vector<std::string>> cases[] = {
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
      {"\xB1\\ \xB2 c", nullptr, 8, 0, {"\xB1 \xB2", "c"}},    // half-width letters are single bytes
      {"a\x83\x5C\x62", "\x83\x5C", 8, 0, {"a\x83\x5C\x62"}},  // separates nothing
      {"a \x83", nullptr, 8, 0, {"a", "\x83"}}};
  for (const auto& [given, separators, maximum, result, expected] : cases) {
    SCOPED_TRACE(given);
    std::vector<char> line(given.c_str(), given.c_str() + given.size() + 1);  // exact, so that an overread is seen
    std::vector<char*> tokens(maximum);
    uint32_t count = 77;
    EXPECT_EQ(result, oxcToken(line.data(), separators, tokens.data(), maximum, &count));
    EXPECT_EQ(expected, std::vector<std::string>(tokens.begin(), tokens.begin() + count));
  }
}

TEST(Wildcard, Patterns) {
  ox::test::set_code_page(932);
  // "pattern text"; a double-byte character is one character, and its second byte none at all.
  const std::string matching =
      " |* |a* a|*a ba|a*b*c a1b2b3c|?b? abc|*?b** ab|*aab aaaab|? \x83\x5C|\x83* \x83*|*\x83\x5C? a\x83\x5C\x62|? "
      "\x83";
  const std::string failing =
      " a|? |a A|a*b abc|?? abc|ab abc|abc ab|?? \x83\x5C|\x83* \x83\x5C|*\x5C \x83\x5C|*\x95\x95\x5C "
      "\x95\x95\x95\x5C";
  for (const auto& [rows, expected] : {std::pair{matching, 1u}, {failing, 0u}}) {
    for (const std::string& row : split(rows)) {
      const std::vector<std::string> both = split(row, ' ');
      EXPECT_EQ(expected, oxcRegMatch(both[0].c_str(), both[1].c_str())) << testing::PrintToString(row);
      EXPECT_EQ(expected, oxcRegMatch2(both[0].c_str(), both[1].c_str())) << testing::PrintToString(row);
    }
  }
}

TEST(Wildcard, ManyStarsEnd) {
  const std::string pattern = repeated("*a", 100) + "b";
  EXPECT_EQ(0u, oxcRegMatch(pattern.c_str(), std::string(20000, 'a').c_str()));
}

}  // namespace
