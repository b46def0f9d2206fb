// Systems whose language is Japanese. Where a process cannot choose it, the test's properties do.
#include <cstdint>
#include <map>
#include <regex>

#include <oxbase/oxc.h>

#include "common/error_text.h"
#include "platform/environment.h"
#include "platform/shared_block.h"
#include "tests/support/code_page.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

using ox::test::in_page, ox::test::read_file, ox::test::write_file;

namespace {

std::string message_path() { return ox::test::home_dir() + "/LIB/LOCALE/0411/OXERROR.MSG"; }

class Japanese : public ox::test::InBothPages<> {
 protected:
  Japanese() { ox::test::set_environment("LC_ALL", "ja_JP.UTF-8"); }
  ~Japanese() override { ox::detach_error_texts(); }
};
OX_IN_BOTH_PAGES(Japanese);

TEST_P(Japanese, MessagesComeFromTheirOwnFile) {
  EXPECT_EQ(1u, oxcGetEnvLang());
  EXPECT_EQ(2u, oxcGetEnvProduct());
  write_file(message_path(), "7:\x8A\xFA\x8A\xD4\x81\x60\r\n259:\x83\x5C\r\n");
  EXPECT_EQ(in_page("期間～"), oxcStrError(7));
  // The second byte of the first character is a backslash. Code 5 has its text without a file.
  EXPECT_EQ(in_page("ソ[エラーコード=0]"), oxcStrError(259));
  EXPECT_EQ(in_page("権限が得られませんでした。\n"), oxcStrError(5));
  testing::internal::CaptureStderr();
  EXPECT_EQ(OX_OK, oxcPerror("a", 7));
  const std::string shown = converted(oxcStrError(7), ox::installed_page(), ox::platform::own_code_page(),
                                      ox::Unknown::becomes_question_mark);
  EXPECT_EQ("a: " + shown + "\n", testing::internal::GetCapturedStderr());
}

// Where each process has its own language, one of another language does not take its texts.
TEST_P(Japanese, EachLanguageHasItsTexts) {
  write_file(message_path(), "7:\x95\x5C\r\n");
  write_file(ox::test::home_dir() + "/LIB/LOCALE/0409/OXERROR.MSG", "7:seven\r\n");
  ASSERT_EQ(in_page("表"), oxcStrError(7));
  const bool each = ox::platform::language_is_per_process;
  ox::platform::SharedBlock other_process;
  const std::string name = std::string("Global\\ox_errmsg") + (each ? ".0411" : "");
  ASSERT_EQ(0u, other_process.open(name.c_str(), ox::platform::SharedBlock::Mode::read));
  ox::detach_error_texts();
  ox::test::set_environment("LC_ALL", "C");
  EXPECT_EQ(each ? "seven" : in_page("表"), oxcStrError(7));
}

// Every result code of the public header has a text in every language that ships.
TEST(Messages, EveryCodeHasOneTextInEveryLanguage) {
  std::vector<uint32_t> codes;
  const std::string header = read_file(OX_SOURCE_DIR "/include/oxbase/oxtypes.h");
  const std::regex constant(R"(\bOX_E[A-Z0-9]+ = (\d+),)");
  for (std::sregex_iterator it(header.begin(), header.end(), constant), end; it != end; ++it) {
    codes.push_back(static_cast<uint32_t>(std::stoul((*it)[1])));
  }
  ASSERT_GT(codes.size(), 80u);
  for (uint32_t number = 1; number <= 34; ++number) codes.push_back(OX_ERRNO_BASE + number);

  const ox::CodePage japanese(932);
  for (const char* language : {"0409", "0411"}) {
    SCOPED_TRACE(language);
    const std::string image = read_file(std::string(OX_SOURCE_DIR "/share/LIB/LOCALE/") + language + "/OXERROR.MSG");
    std::map<uint32_t, int> seen;
    const std::regex line(R"((\d+):([^\r\n]+)\r\n)");
    size_t covered = 0;
    for (std::sregex_iterator it(image.begin(), image.end(), line), end; it != end; ++it) {
      ++seen[static_cast<uint32_t>(std::stoul((*it)[1]))];
      covered += static_cast<size_t>(it->length());
      const std::string text = (*it)[2];
      EXPECT_EQ(std::string::npos, converted(text, japanese, 65001, ox::Unknown::becomes_question_mark).find('?'));
      EXPECT_LT(text.size(), 200u) << text;
    }
    EXPECT_EQ(image.size(), covered) << "a line of another form";
    for (const uint32_t code : codes) EXPECT_EQ(1, seen[code]) << code;
    EXPECT_EQ(codes.size(), seen.size()) << "a text for a code that nobody gives";
  }
}

}  // namespace
