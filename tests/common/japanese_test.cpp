// Systems whose language is Japanese. Where a process cannot choose it, the test's properties do.
#include <cstdint>
#include <map>
#include <regex>

#include <oxbase/oxc.h>

#include "common/error_text.h"
#include "platform/codepage.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

using ox::platform::from_cp932;
using ox::test::read_file, ox::test::write_file;

namespace {

std::string message_path() { return ox::test::home_dir() + "/LIB/LOCALE/0411/OXERROR.MSG"; }

class Japanese : public testing::Test {
 protected:
  Japanese() { ox::test::set_environment("LC_ALL", "ja_JP.UTF-8"); }
  ~Japanese() override { ox::detach_error_texts(); }
};

TEST_F(Japanese, MessagesComeFromTheirOwnFile) {
  EXPECT_EQ(1u, oxcGetEnvLang());
  EXPECT_EQ(2u, oxcGetEnvProduct());
  write_file(message_path(), "7:\x8A\xFA\x8A\xD4\x81\x60\r\n259:\x83\x5C\r\n");
  EXPECT_STREQ("\x8A\xFA\x8A\xD4\x81\x60", oxcStrError(7));
  // "ソ[エラーコード=0]": the second byte of the first character is a backslash. Code 5 has its text without a file.
  EXPECT_STREQ("\x83\x5C[\x83\x47\x83\x89\x81\x5B\x83\x52\x81\x5B\x83\x68=0]", oxcStrError(259));
  EXPECT_EQ("\x8C\xA0", std::string(oxcStrError(5), 2));
  testing::internal::CaptureStderr();
  EXPECT_EQ(OX_OK, oxcPerror("a", 7));
  EXPECT_EQ("a: " + from_cp932("\x8A\xFA\x8A\xD4\x81\x60") + "\n", testing::internal::GetCapturedStderr());
}

// Every result code of the public header has a text in every language that ships.
TEST_F(Japanese, EveryCodeHasOneTextInEveryLanguage) {
  std::vector<uint32_t> codes;
  const std::string header = read_file(OX_SOURCE_DIR "/include/oxbase/oxtypes.h");
  const std::regex constant(R"(\bOX_E[A-Z0-9]+ = (\d+),)");
  for (std::sregex_iterator it(header.begin(), header.end(), constant), end; it != end; ++it) {
    codes.push_back(static_cast<uint32_t>(std::stoul((*it)[1])));
  }
  ASSERT_GT(codes.size(), 80u);
  for (uint32_t number = 1; number <= 34; ++number) codes.push_back(OX_ERRNO_BASE + number);

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
      EXPECT_EQ(std::string::npos, from_cp932(text).find('?')) << text;
      EXPECT_LT(text.size(), 200u) << text;
    }
    EXPECT_EQ(image.size(), covered) << "a line of another form";
    for (const uint32_t code : codes) EXPECT_EQ(1, seen[code]) << code;
    EXPECT_EQ(codes.size(), seen.size()) << "a text for a code that nobody gives";
  }
}

}  // namespace
