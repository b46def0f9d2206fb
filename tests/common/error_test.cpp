#include "platform/error.h"

#include <cerrno>
#include <filesystem>
#include <map>
#include <thread>

#include <oxbase/oxc.h>

#include "common/error_text.h"
#include "common/message_file.h"
#include "platform/shared_block.h"
#include "tests/support/code_page.h"
#include "tests/support/fault_heap.h"
#include "tests/support/in_threads.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"
#include "tests/support/traced.h"

namespace fs = std::filesystem;
using namespace std::string_view_literals;
using ox::platform::SharedBlock;
using ox::test::home_dir, ox::test::write_file;

namespace {

std::string message_path() { return ox::test::native(home_dir() + "/LIB/LOCALE/0409/OXERROR.MSG"); }

const char* const absent = "-";

std::string look_up(std::string_view image, uint32_t code) {
  const std::vector<char> exact(image.begin(), image.end());  // so that a read past the end is seen
  const ox::MessageFile file({exact.data(), exact.size()});
  std::string_view text = absent;
  return file.find(code, text) ? std::string(text) : absent;
}

TEST(MessageFileTest, OddLines) {
  const std::tuple<const char*, std::string_view, uint32_t, const char*> rows[] = {
      {"leading zeros are decimal", "0189:File not found\r\n", 189, "File not found"},
      {"the first of two", "7:one\r\n7:two\r\n", 7, "one"},
      {"blanks after the colon", "7: \t a b \r\n", 7, "a b "},
      {"later colons are text", "7:a: b\r\n", 7, "a: b"},
      {"LF alone costs a character", "7:text\n", 7, "tex"},
      {"a text of LF alone", "7:\n", 7, ""},
      {"a last line without LF is whole", "6:a\r\n7:text", 7, "text"},
      {"a key of words is 0", "# note: text\r\n", 0, "text"},
      {"a key stops at the first letter", "12x4:text\r\n", 12, "text"},
      {"a sign wraps", "-1:text\r\n", 0xFFFFFFFF, "text"},
      {"a huge key is no small one", "4294967303:text\r\n", 7, absent},
      {"zero bytes behind the file", "7:text\0\0\0"sv, 7, "text"},
      {"a zero byte ends a text", "7:te\0xt\r\n8:eight\r\n"sv, 7, "te"},
      {"lines in no order", "9:nine\r\n7:seven\r\n8:eight\r\n", 8, "eight"},
      {"a key of the line before", "7\n: a\r\n", 7, absent},
      {"a blank line before the end", "\n\r\n7:a\r\n\n", 7, "a"},
      {"no file", "", 0, absent}};
  for (const auto& [what, image, code, text] : rows) EXPECT_EQ(text, look_up(image, code)) << what;
}

class ErrorTextTest : public testing::Test {
 protected:
  ErrorTextTest() { ox::test::set_environment("LC_ALL", "C"); }
  ~ErrorTextTest() override { ox::detach_error_texts(); }
};

TEST_F(ErrorTextTest, TextsOfCodes) {
  write_file(message_path(), "5:not this\r\n189:The file.\r\n259:System.\r\n0:Zero.\r\n");
  EXPECT_STREQ("The file.", oxcStrError(189));
  EXPECT_STREQ("Zero.", oxcStrError(0));
  EXPECT_STREQ("No authorization was obtained.\n", oxcStrError(5));  // never of the file
  EXPECT_STREQ("Message Not Found", oxcStrError(190));
  EXPECT_STREQ("open: The file.", oxcErrmsg("open", 189));
  EXPECT_STREQ("The file.", oxcErrmsg(nullptr, 189));
  EXPECT_STREQ("", oxcErrmsg("open", 0));
  // Texts of earlier calls as prefixes, from either buffer.
  EXPECT_STREQ("a: The file.: The file.", oxcErrmsg(oxcErrmsg("a", 189), 189));
  EXPECT_STREQ("Zero.: The file.", oxcErrmsg(oxcStrError(0), 189));

  ox::platform::set_last_error(87);
  EXPECT_EQ(OX_EPLATFORM, oxcGetWinError());
  ox::platform::set_last_error(2);
  EXPECT_STREQ("System.[ErrorCode=87]", oxcStrError(259));
  std::thread([] { EXPECT_STREQ("System.[ErrorCode=0]", oxcStrError(259)); }).join();  // of each thread its own
  for (const size_t length : {497u, 498u}) {                                           // 511 bytes at most
    ox::detach_error_texts();
    write_file(message_path(), "259:" + std::string(length, 'x') + "\r\n");
    EXPECT_EQ(std::string(length, 'x') + (length == 497 ? "[ErrorCode=87]" : ""), oxcStrError(259));
  }
}

TEST_F(ErrorTextTest, TheBufferOfAThreadStaysWhereItIs) {
  ox::test::set_code_page(932);
  // A character of two bytes over the end is left out whole.
  const std::string longest(4095, 'x'), wide = longest.substr(1) + "\x83\x65";
  write_file(message_path(), "7:short\r\n8:" + longest + "more\r\n9:" + wide + "\r\n");
  const char* const first = oxcStrError(7);
  EXPECT_STREQ("short", first);
  EXPECT_EQ(first, oxcStrError(8));
  EXPECT_EQ(longest, first);
  EXPECT_EQ(first, oxcStrError(9));
  EXPECT_EQ(wide.substr(0, 4094), first);
  std::thread([first] { EXPECT_NE(first, oxcStrError(7)); }).join();
}

TEST_F(ErrorTextTest, AnUnusableFileIsTheTextOfEveryCode) {
  const std::string path = message_path();
  const auto expect_failure = [](OX_RESULT code, const std::string& why) {
    EXPECT_EQ(code, oxcInitErrmsg());
    const std::string text = oxcStrError(7);
    EXPECT_NE(std::string::npos, text.find(why)) << text;
    EXPECT_EQ("a: " + text, oxcErrmsg("a", 189));
  };
  ox::test::remove_settings();
  expect_failure(OX_EFILENOTFOUND, "directory");
  ox::test::install_settings();
  expect_failure(OX_EFILENOTFOUND, path);
  fs::create_directories(path);
  expect_failure(OX_EISDIR, path);
  fs::remove(path);
  write_file(path, "");
  expect_failure(OX_EINDEXFILE, "1006");
  write_file(path, "7:repaired\r\n");
  EXPECT_STREQ("repaired", oxcStrError(7));
}

TEST_F(ErrorTextTest, ProcessesShareTheCopyOfTheFirst) {
  const std::string other = home_dir() + "/other.msg";
  write_file(other, "7:of the first\r\n");
  write_file(message_path(), "7:of the second\r\n");
  constexpr char block_name[] = "Global\\ox_errmsg";
  SharedBlock first;
  ASSERT_EQ(0u, first.create_from_file(block_name, other.c_str(), ox::platform::Access::machine));
  for (int round = 0; round < 20; ++round) {
    ox::test::in_threads(8, [&](int) {  // that race for the first load
      EXPECT_STREQ(round == 0 ? "of the first" : "of the second", oxcStrError(7));
    });
    ox::detach_error_texts();
    first = SharedBlock();
    EXPECT_EQ(ox::platform::error_file_not_found, first.open(block_name, SharedBlock::Mode::read));
  }
}

TEST_F(ErrorTextTest, EveryAllocationMayFail) {
  const std::string text(200, 'x');
  write_file(message_path(), "7:" + text + "\r\n8:" + text + text + "\r\n");
  ox::test::every_allocation_may_fail([] {
    const OX_RESULT result = oxcInitErrmsg();
    ox::detach_error_texts();
    return result;
  });
  ASSERT_EQ(OX_OK, oxcInitErrmsg());
  ox::test::every_allocation_may_fail([] { return oxcErrmsg("prefix", 7) != nullptr ? OX_OK : OX_ENOMEM; });
  ox::test::every_allocation_may_fail([] { return oxcPerrorMsgBox2("test", "prefix", 7); });
  ASSERT_EQ(text, oxcStrError(7));
  ox::test::fail_allocation(1);
  EXPECT_STREQ("The capacity is limited.\r\n", oxcStrError(8));  // the thread's buffer cannot grow
  EXPECT_TRUE(ox::test::stop_failing());
  EXPECT_EQ(text + text, oxcStrError(8));
}

TEST_F(ErrorTextTest, NumbersOfPlatformAndRuntimeBecomeCodes) {
  const std::map<uint32_t, OX_RESULT> platform_codes = {{0, 0},     {2, 189},   {5, 5},     {14, 3},
                                                        {16, 148},  {19, 144},  {87, 259},  {110, 142},
                                                        {145, 148}, {183, 207}, {1006, 78}, {0xFFFFFFFF, 259}};
  const std::map<int, OX_RESULT> runtime_codes = {{-1, 261}, {0, 0}, {1, 5001}, {2, 5002}, {34, 5034}, {35, 261}};
  const std::string trace = ox::test::traced(0x40, [&] {
    for (const auto& [error, code] : platform_codes) {
      ox::platform::set_last_error(error);
      EXPECT_EQ(code, oxcGetWinError()) << error;
    }
    for (const auto& [number, code] : runtime_codes) {
      errno = number;
      EXPECT_EQ(code, oxcGetCRunError()) << number;
    }
  });
  for (const char* unknown : {"WinError[87]", "CRunError[35]"}) EXPECT_NE(std::string::npos, trace.find(unknown));
}

}  // namespace
