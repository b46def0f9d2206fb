// Nodes as lines.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "common/trace_control.h"
#include "tests/data/small_tree.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace {

class DnodeFormat : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC0", 1);
    ox::test::build_small_tree();
    full_ = oxdAlloc(1);
    oxdSetCompName(full_, "top");
    oxdSetCompType(full_, "map");
    oxdSetAmibName(full_, "11.1.1.0");
    oxdSetReqTime(full_, 1251973230);
    oxdSetRspTime(full_, 0x80000000);
    oxdSetBytes(full_, OX_OCTETSTRING, "abc", 3);
    empty_ = oxdAlloc(1);
  }
  void TearDown() override {
    oxdFree(full_);
    oxdFree(empty_);
  }

  dnode* full_ = nullptr;
  dnode* empty_ = nullptr;
};

TEST_F(DnodeFormat, EachConversion) {
  const struct {
    const char* format;
    const char* full;
    const char* empty;
  } rows[] = {
      {"100%%", "100%", "100%"},
      {"<%C>", "<top>", "<(no_compname)>"},
      {"%T:%C", "map:top", "(no_comptype):(no_compname)"},
      {"%AB", "cmnName.0", "(no_amibname)"},
      {"%AN", "11.1.1.0", "(no_amibname)"},
      {"%AS", "obj.cmn.cmnName.0", "(no_amibname)"},
      {"%QD", "Thu Sep  3 10:20:30 2009", "(no_reqtime)"},
      {"%QN", "1251973230", "(no_reqtime)"},
      {"%QS", "2009/09/03.10:20:30", "(no_reqtime)"},
      {"%SD", "Tue Jan 19 03:14:08 2038", "(no_rsptime)"},
      {"%SN", "2147483648", "(no_rsptime)"},
      {"%SS", "2038/01/19.03:14:08", "(no_rsptime)"},
      {"%V", "abc", "(no_value)"},
      {"%W", "0x61:62:63", "(no_value)"},
      {nullptr, "top\t2009/09/03.10:20:30\tcmnName.0             \tabc\n",
       "(no_compname)\t(no_reqtime)\t(no_amibname)         \t(no_value)\n"},
      // Widths: never cutting, right-justified without the sign.
      {"[%5C]", "[  top]", "[(no_compname)]"},
      {"[%-5C]", "[top  ]", "[(no_compname)]"},
      {"[%2C]", "[top]", "[(no_compname)]"},
      {"[%-3%]", "[%  ]", "[%  ]"},
      {"%4097C", "(too_long)", "(too_long)"},
      {"%99999999999999999999C", "(too_long)", "(too_long)"},
      // What is wrong is passed over with its field.
      {"%xC", "(format_error)C", "(format_error)C"},
      {"%-9AxC", "(format_error)C", "(format_error)C"},
      {"%9999x", "(format_error)", "(format_error)"},
      {"a%", "a(format_error)", "a(format_error)"},
      {"a%-22", "a(format_error)", "a(format_error)"},
      {"a%A", "a(format_error)", "a(format_error)"},
      {"%--C", "(format_error)C", "(format_error)C"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.format != nullptr ? row.format : "(default)");
    EXPECT_STREQ(row.full, oxdDnodeToStr(row.format, full_));
    EXPECT_STREQ(row.empty, oxdDnodeToStr(row.format, empty_));
    EXPECT_STREQ(row.empty, oxdDnodeToStr(row.format, nullptr));
  }
}

TEST_F(DnodeFormat, AnErrorCodeStandsForTheValue) {
  oxdSetErrCode(full_, 84);
  const std::string text = oxcStrError(84);
  EXPECT_EQ("[" + text + "]", oxdDnodeToStr("[%V]", full_));
  EXPECT_EQ("[" + text + "]", oxdDnodeToStr("[%W]", full_));
  oxdSetErrCode(full_, 0);
  EXPECT_STREQ("[abc]", oxdDnodeToStr("[%V]", full_));
}

TEST_F(DnodeFormat, AnUnknownAttributeHasNoName) {
  std::string path = "1";
  for (int i = 1; i < 65; ++i) path += ".1";
  oxdSetAmibName(full_, path.c_str());
  EXPECT_EQ(path + "|(bad AMIB name)|(bad AMIB name)", oxdDnodeToStr("%AN|%AB|%AS", full_));
}

TEST_F(DnodeFormat, LinesGrowAndSayWhenTheyCannot) {
  std::string format;
  std::string line;
  for (int i = 0; i < 40; ++i) {
    format += "%4096C|";
    line += std::string(4093, ' ') + "top|";
  }
  EXPECT_EQ(line, oxdDnodeToStr(format.c_str(), full_));
  const std::string longer = format + format;
  ox::test::fail_allocation(1);
  const std::string text = oxdDnodeToStr(longer.c_str(), full_);
  EXPECT_TRUE(ox::test::stop_failing());
  EXPECT_EQ("(no_memory)", text);
  EXPECT_EQ(line + line, oxdDnodeToStr(longer.c_str(), full_));
}

TEST_F(DnodeFormat, APrintedListIsOneLinePerNode) {
  dnode* list = oxdAlloc(2);
  oxdSetCompName(list, "a%s");  // never a format
  oxdSetCompName(oxdNext(list), "b");
  testing::internal::CaptureStdout();
  EXPECT_EQ(0u, oxdPrint("%C\n", list));
  EXPECT_EQ(0u, oxdPrint("%C\n", nullptr));
  EXPECT_EQ("a%s\nb\n", testing::internal::GetCapturedStdout());
  // The trace carries the same lines, and nothing while its mask is clear.
  const std::string log = ox::test::work_dir() + "/tmp/lines.txt";
  ox::trace::attach();
  EXPECT_EQ(0u, oxcDebugOutput(0, log.c_str()));
  EXPECT_EQ(0u, oxdPrintLog("hidden\n", list));
  oxcSetDebugMask(0x400);
  EXPECT_EQ(0u, oxdPrintLog("%C\n", list));
  oxcSetDebugMask(0);
  EXPECT_EQ("a%s\nb\n", ox::test::read_file(ox::test::work_dir() + "/tmp/lines_00.txt"));
  ox::trace::detach();
  oxdFree(list);
}

}  // namespace
