// Nodes as lines.
#include "common/trace_control.h"
#include "tests/data/data_fixture.h"
#include "tests/support/fault_heap.h"

namespace {

class DnodeFormat : public ox::test::TreeNodeTest {
 protected:
  DnodeFormat() {
    ox::test::fill(node_);
    oxdSetBytes(node_, OX_OCTETSTRING, "abc", 3);
    oxdClrErrCode(node_);
  }
};

TEST_F(DnodeFormat, EachConversion) {
  const struct {
    const char* format;
    const char* full;
    const char* empty;  // null: as the full one
  } rows[] = {
      {"100%%", "100%", nullptr},
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
      {"[%5C%-5C%2C]", "[  toptop  top]", "[(no_compname)(no_compname)(no_compname)]"},
      {"[%-3%]", "[%  ]", nullptr},
      {"%4097C", "(too_long)", nullptr},
      {"%99999999999999999999C", "(too_long)", nullptr},
      // What is wrong is passed over with its field.
      {"%xC", "(format_error)C", nullptr},
      {"%-9AxC", "(format_error)C", nullptr},
      {"%9999x", "(format_error)", nullptr},
      {"a%-22", "a(format_error)", nullptr},
      {"a%A", "a(format_error)", nullptr},
      {"%--C", "(format_error)C", nullptr},
  };
  dnode* nothing = oxdAlloc(1);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.format != nullptr ? row.format : "(default)");
    EXPECT_STREQ(row.full, oxdDnodeToStr(row.format, node_));
    for (dnode* empty : {nothing, static_cast<dnode*>(nullptr)}) {
      EXPECT_STREQ(row.empty != nullptr ? row.empty : row.full, oxdDnodeToStr(row.format, empty));
    }
  }
  oxdFree(nothing);

  oxdSetErrCode(node_, 84);  // stands for the value
  const std::string text = oxcStrError(84);
  EXPECT_EQ(text + "|" + text, oxdDnodeToStr("%V|%W", node_));
  const std::string path = ox::test::arcs(65);
  oxdSetAmibName(node_, path.c_str());
  EXPECT_EQ(path + "|(bad AMIB name)|(bad AMIB name)", oxdDnodeToStr("%AN|%AB|%AS", node_));
}

TEST_F(DnodeFormat, LinesGrowAndSayWhenTheyCannot) {
  std::string format, line;
  for (int i = 0; i < 40; ++i) {
    format += "%4096C|";
    line += std::string(4093, ' ') + "top|";
  }
  EXPECT_EQ(line, oxdDnodeToStr(format.c_str(), node_));
  format += format;
  ox::test::fail_allocation(1);
  const char* text = oxdDnodeToStr(format.c_str(), node_);
  EXPECT_TRUE(ox::test::stop_failing());
  EXPECT_STREQ("(no_memory)", text);
  EXPECT_EQ(line + line, oxdDnodeToStr(format.c_str(), node_));
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
  ox::trace::attach();
  EXPECT_EQ(0u, oxcDebugOutput(0, (ox::test::work_dir() + "/tmp/lines.txt").c_str()));
  EXPECT_EQ(0u, oxdPrintLog("hidden\n", list));
  oxcSetDebugMask(0x400);
  EXPECT_EQ(0u, oxdPrintLog("%C\n", list));
  oxcSetDebugMask(0);
  EXPECT_EQ("a%s\nb\n", ox::test::read_text(ox::test::work_dir() + "/tmp/lines_00.txt"));
  ox::trace::detach();
  oxdFree(list);
}

}  // namespace
