#include "common/trace.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <oxbase/oxc.h>

#include "common/line_format.h"
#include "common/trace_control.h"
#include "common/trace_file.h"
#include "platform/environment.h"
#include "tests/support/in_threads.h"
#include "tests/support/registry.h"
#include "tests/support/system_root.h"

namespace fs = std::filesystem;
using ox::test::native, ox::test::read_text, ox::test::set_value, ox::test::work_dir;

namespace {

class TraceTest : public testing::Test {
 protected:
  TraceTest() { ox::trace::attach(); }
  ~TraceTest() override { ox::trace::detach(); }

  static std::string file(const std::string& name) { return work_dir() + "/tmp/" + name; }
  static void start(const std::string& name) {
    ASSERT_EQ(OX_OK, oxcDebugOutput(0, file(name).c_str()));
    oxcSetDebugMask(ox::trace::general);
  }
};

TEST_F(TraceTest, LinesReachTheFileInTheirOwnForm) {
  start("lines.dbg");
  EXPECT_EQ(OX_OK, oxcDebugOut("%s(%d)\n", "here", 7));
  oxcDebugOut("%s\n", std::string(5000, 'x').c_str());
  ox::trace::write_exit("[%ld]\n", 17);
  ox::trace::write_exit("[%#ld]\n", 20);
  ox::trace::write_exit("[%l]\n", 3);  // an incomplete conversion stays as it is
  oxcSetDebugMask(0);
  oxcDebugOut("nothing\n");
  EXPECT_EQ("here(7)\n" + std::string(4094, 'x') + "\n[17]\n[20]\n[%l]\n", read_text(file("lines_00.dbg")));
  EXPECT_EQ(OX_ENAMELONG, oxcDebugOutput(0, std::string(257, 'n').c_str()));
  EXPECT_EQ(OX_EOPEN, oxcDebugOutput(0, "/no/such/directory/x.dbg"));
}

OX_PRINTF(2, 3) void expect_as_printf(std::size_t size, const char* format, ...) {
  SCOPED_TRACE(format + std::to_string(size));
  char expected[64] = "untouched";
  char line[64] = "untouched";
  std::va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(expected, size, format, again);
  EXPECT_EQ(length, ox::format_line(line, size, format, arguments));
  EXPECT_STREQ(expected, line);
  va_end(again);
  va_end(arguments);
}

// What it makes itself and what it leaves to the C library, in room enough, just enough and too little.
TEST(TraceLine, IsWhatPrintfMakes) {
  for (const std::size_t size : {64, 12, 11, 10, 1}) {
    expect_as_printf(size, "<S:f(%d,%d)>\n", -7, 42);
    expect_as_printf(size, "[%ld|%lu]", LONG_MIN, ULONG_MAX);
    expect_as_printf(size, "%u%x%lx", UINT_MAX, 0xABCDu, 0xABCDEF01ul);
    expect_as_printf(size, "%s-%s%%", "text", "");
    expect_as_printf(size, "%.*s|%.*s", 3, "cut off", -1, "whole");
    expect_as_printf(size, "%s:%08.3f%c", "left", 1.5, 'c');
    expect_as_printf(size, "[%s]", std::getenv("OX_NOT_SET"));
    expect_as_printf(size, "%5d%-4s|%#x", 3, "x", 17u);
  }
}

TEST_F(TraceTest, RotationWrapsToOneAndNeverReturnsToZero) {
  set_value("oxLogMaxFileSize", 1u);
  set_value("oxLogMaxFileCount", 3u);
  start("turn.dbg");
  const std::string line(3999, 'r');
  const auto fill = [&](char mark) {  // one file's worth and the line that turns to the next
    for (int i = 0; i < 263; ++i) oxcDebugOut("%c%s\n", mark, line.c_str());
  };
  for (const char mark : {'A', 'B', 'C', 'D'}) fill(mark);
  EXPECT_EQ('A', read_text(file("turn_00.dbg"))[0]);
  EXPECT_EQ('D', read_text(file("turn_01.dbg"))[0]);
  EXPECT_EQ('C', read_text(file("turn_02.dbg"))[0]);
  EXPECT_FALSE(fs::exists(file("turn_03.dbg")));
}

TEST_F(TraceTest, NamesBecomePatterns) {
  const std::string tmp = work_dir() + "/tmp";
  const std::string moved = native(ox::test::system_root() + "/moved");
  char id[16];
  std::snprintf(id, sizeof id, "ox%x", ox::platform::process_id());
  const auto seventh = [](const std::string& name) { return ox::trace::name_pattern(name).name(7); };
  const std::pair<std::string, std::string> rows[] = {
      {"", tmp + "/" + id + "_07.dbg"},     {tmp + "/a.b.dbg", tmp + "/a.b_07.dbg"},
      {tmp + "\\plain", tmp + "/plain_07"}, {"/else/where/", std::string("/else/where/") + id + "_07.dbg"},
      {"bare.log", "bare_07.log"},          {"100%s/%n.log", "100%s/%n_07.log"}};
  for (const auto& [name, file] : rows) EXPECT_EQ(native(file), seventh(name));
  set_value("oxLogDirectory", (moved + "/").c_str());
  EXPECT_EQ(native(tmp + "/x_07.dbg"), seventh(tmp + "/x.dbg"));  // no such directory yet
  fs::create_directories(moved);
  EXPECT_EQ(moved + native("/x_07.dbg"), seventh(tmp + "/x.dbg"));
  EXPECT_EQ(native("/else/x_07.dbg"), seventh("/else/x.dbg"));
  // A file without a name of its own moves, too.
  ASSERT_EQ(OX_OK, oxcDebugOutput(0, file("x.dbg").c_str()));
  ASSERT_EQ(OX_OK, oxcDebugOutput(0, nullptr));
  oxcSetDebugMask(ox::trace::general);
  oxcDebugOut("moved\n");
  EXPECT_EQ("moved\n", read_text(moved + native(std::string("/") + id + "_00.dbg")));
}

TEST_F(TraceTest, LinesOfSeveralThreadsDoNotMix) {
  start("threads.dbg");
  ox::test::in_threads(4, [](int i) {
    for (int n = 0; n < 200; ++n) oxcDebugOut("%s\n", std::string(64, static_cast<char>('a' + i)).c_str());
  });
  const std::string text = read_text(file("threads_00.dbg"));
  ASSERT_EQ(4u * 200 * 65, text.size());
  for (std::size_t at = 0; at < text.size(); at += 65) ASSERT_EQ(std::string(64, text[at]) + "\n", text.substr(at, 65));
}

}  // namespace
