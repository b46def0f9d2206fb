// Characters of the code pages, and what the library makes of the installation's.
#include "tests/support/code_page.h"

#include <algorithm>

#include <oxbase/oxc.h>

#include "common/paths.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

using ox::CodePage, ox::test::in_page, ox::test::split;

namespace {

TEST(CodePage, SizesOfCharactersAndOfWhatIsNone) {
  const std::tuple<uint32_t, std::string_view, const char*> rows[] = {
      {65001, "aß表😀|", "12341"},
      {65001, "\xC3", "1"},  // cut anywhere
      {65001, "\xE8\xA1", "11"},
      {65001, "\xF0\x9F\x98", "111"},
      {65001, "\xC3\"\xE8\xA1\\\xF0\x9F\x98'", "111111111"},
      {65001, "\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "111111111"},            // longer than need be
      {65001, "\xED\xA0\x80\xF4\x90\x80\x80\xF5\x80\x80\xFF", "11111111111"},  // no characters
      {65001, "\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", "334"},
      {932, "a\x95\x5C\xB1\xDF\xFC\x4B\x81\x22", "121122"},
      {932, "\x80\xA0\xFD\xFF", "1111"},
      {932, "\x83", "1"},
      {1, "\x83\x5C\xE8\xA1", "1111"}};
  for (const auto& [number, bytes, expected] : rows) {
    const CodePage page(number);
    std::string whole;
    for (std::size_t at = 0; at < bytes.size();) {
      const std::vector<char> rest(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                   bytes.end());  // an overread is seen
      const unsigned size = page.size(std::string_view(rest.data(), rest.size()));
      EXPECT_EQ(size, page.size(std::string(rest.begin(), rest.end()).c_str()));
      whole += std::to_string(size);
      at += size;
    }
    EXPECT_EQ(expected, whole) << number << ' ' << testing::PrintToString(bytes);
  }
  // What stands behind a text's end does not count.
  EXPECT_EQ(1u, CodePage(65001).size(std::string_view("表", 2)));
  EXPECT_EQ(1u, CodePage(932).size(std::string_view("\x95\x5C", 1)));
}

TEST(CodePage, CutsBetweenCharacters) {
  const CodePage utf8(65001), japanese(932);
  const std::size_t utf8_ends[] = {0, 1, 1, 1, 4, 4, 6, 6}, japanese_ends[] = {0, 1, 1, 3, 3, 5, 5};
  for (std::size_t room = 0; room < 8; ++room) EXPECT_EQ(utf8_ends[room], utf8.fitting("a表é", room)) << room;
  for (std::size_t room = 0; room < 7; ++room)
    EXPECT_EQ(japanese_ends[room], japanese.fitting("a\x95\x5C\x83\x5C", room));
  // Cut off in front: what may be the rest of a character is passed over.
  const std::tuple<uint32_t, const char*, std::size_t> rests[] = {
      {65001, "\xA1\xA8x", 2}, {65001, "表", 0},           {65001, "\xA8\xA8\xA8\xA8x", 0},
      {65001, "\xA8", 0},      {932, "\x5C\x95\x5C 1", 3}, {932, "1\x95\x5C", 0},
      {932, "\x95\x5C", 0},    {1252, "\xE9x", 0}};
  for (const auto& [number, rest, first] : rests) EXPECT_EQ(first, CodePage(number).first_whole(rest)) << rest;
}

TEST(CodePage, CaseIsOfLettersAndNotOfSecondBytes) {
  // "ア" and "チ" differ in a bit that makes letters capital.
  const std::tuple<uint32_t, const char*, const char*, int> rows[] = {{932, "aB\x83\x41z", "Ab\x83\x41Z", 0},
                                                                      {932, "\x83\x41", "\x83\x61", -1},
                                                                      {932, "a", "B", -1},
                                                                      {932, "aA", "a", 1},
                                                                      {65001, "äÖa", "äÖA", 0},
                                                                      {65001, "z", "ä", -1}};
  for (const auto& [number, a, b, order] : rows) {
    const CodePage page(number);
    const auto sign = [](int value) { return (value > 0) - (value < 0); };
    EXPECT_EQ(order, sign(page.compare_no_case(a, b))) << a << ' ' << b;
    EXPECT_EQ(-order, sign(page.compare_no_case(b, a))) << a << ' ' << b;
  }
}

TEST(CodePage, NamesOfPathsBeginBehindSeparators) {
  const std::tuple<uint32_t, const char*, const char*> rows[] = {
      {932, "C:\\\x95\x5C", "\x95\x5C"},
      {932, "C:\\\x95\x5C\\\x83\x5C.exe", "\x83\x5C.exe"},
      {932, "a/b\\", ""},
      {932, "\xE3\x81\x86/x", "x"},  // of UTF-8, on a machine whose paths it is
      {65001, "/表/ソ", "ソ"},
      {65001, "a\xE8\xA1\\b", "b"},
      {65001, "plain", "plain"}};
  for (const auto& [number, path, name] : rows)
    EXPECT_EQ(name, std::string(path).substr(CodePage(number).last_name(path)));
}

TEST(CodePage, TextsBecomeThoseOfAnother) {
  const CodePage japanese(932), utf8(65001);
  const std::pair<std::string_view, std::string_view> rows[] = {{"plain \\~\n", "plain \\~\n"},
                                                                {"\x83\x65\x83\x58\x83\x67", "テスト"},
                                                                {"\x95\x5C.", "表."},
                                                                {"\xB1\x87\x40", "ｱ①"},
                                                                {"\x81\x60", "～"},
                                                                {"", ""}};
  for (const auto& [from, to] : rows) {
    EXPECT_EQ(to, converted(from, japanese, 65001, ox::Unknown::becomes_question_mark)) << to;
    EXPECT_EQ(from, converted(to, utf8, 932, ox::Unknown::becomes_question_mark)) << to;
  }
  // What is none on the way, marked and as it is.
  const std::tuple<const CodePage&, uint32_t, const char*, const char*, const char*> broken[] = {
      {japanese, 65001, "\x83\x65\x83", "テ?", "テ\x83"},
      {japanese, 65001, "\x83\x65\x81 x\x81\x7F", "テ? x?\x7F", "テ\x81 x\x81\x7F"},
      {utf8, 932, "aß\xE8ソ", "a??\x83\x5C", "aß\xE8\x83\x5C"}};
  for (const auto& [from, to, text, marked, kept] : broken) {
    EXPECT_EQ(marked, converted(text, from, to, ox::Unknown::becomes_question_mark)) << text;
    EXPECT_EQ(kept, converted(text, from, to, ox::Unknown::stays)) << text;
  }
}

class Installed : public ox::test::InBothPages<> {};
OX_IN_BOTH_PAGES(Installed);

TEST_P(Installed, CodePageIsTheSetting) { EXPECT_EQ(GetParam(), oxcGetCodePage()); }

TEST(Absent, CodePageIsTheSystems) {
  ox::test::set_code_page(1252);  // none that an installation may have
  EXPECT_EQ(ox::platform::system_code_page(), oxcGetCodePage());
}

TEST_P(Installed, PathsAreSplitByCharacters) {
  for (const auto& [text, in_932] : ox::test::texts_in_page()) {
    SCOPED_TRACE(text);
    const std::string name = in_page(text);
    EXPECT_EQ(name, ox::file_name("C:\\" + name));
    EXPECT_EQ(name + ".exe", ox::file_name("C:\\" + name + "\\" + name + ".exe"));
    std::string directory = "/" + name;
    ox::drop_last_separator(directory);
    EXPECT_EQ("/" + name, directory);
    EXPECT_EQ(ox::test::native("/") + name + ox::test::native("/"), ox::join_path({"", name, ""}));
    EXPECT_FALSE(ox::has_separator(name));
    EXPECT_TRUE(ox::begins_with("\\" + name + "/x", "/" + name));
    EXPECT_FALSE(ox::begins_with("/" + name, "/" + name + "/"));
    std::string other = name;
    std::replace(other.begin(), other.end(), '\\', '/');
    EXPECT_EQ(other == name, ox::begins_with("/" + other, "/" + name));
  }
}

TEST_P(Installed, FoldersOfTheInstallationKeepTheirNames) {
  const std::string home = "/opt/" + in_page("表");
  ox::test::set_value("HomeDir", home.c_str());
  EXPECT_EQ(home, oxcGetHomedir());
  EXPECT_EQ(ox::test::native("/opt/") + in_page("表") + ox::test::native("/") + in_page("ソ"),
            conf_file(("$homedir\\" + in_page("ソ")).c_str()));
  EXPECT_EQ("$homedir/" + in_page("ソ"), deconf_file((home + "/" + in_page("ソ")).c_str()));
}

}  // namespace
