// Expressions, definitions, periods.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "report/definition.h"
#include "report/period.h"
#include "tools/steps.h"

namespace report {
namespace {

constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

// The number, "-" for nothing, or the fault.
std::string value_of(const std::string& text) {
  const Names names{3, {"in", "out"}, {"unit"}};
  const Sample sample{{4, 9, nothing}, {0.5, nothing, 2}, {1, 0, nothing}, {100, nothing}, {8}};
  try {
    const double value = Expression(text, names)(sample);
    return std::isnan(value) ? "-" : tool::shown_number(value);
  } catch (const Fault& fault) {
    return fault.what();
  }
}

TEST(Expressions, HaveTheirValuesOrFaults) {
  const std::pair<const char*, const char*> rows[] = {
      {"1 + 2 * 3 - 4 / 8", "6.5"},
      {"(1 + 2) * 3", "9"},
      {"8 - 2 - 1", "5"},
      {"16 / 4 / 2", "2"},
      {"- - 2 * -(3)", "-6"},
      {"2--1", "3"},
      {".5 * 1e3", "500"},
      {"m1 + m2", "13"},
      {"rate(m1) * unit", "4"},
      {"rate( m3 )", "2"},
      {"in / m1", "25"},
      {"100 * answered(m1)", "100"},
      {"answered(m2)", "0"},
      {"answered(m3)", "-"},
      {"m3 * 0", "-"},
      {"rate(m2) + 1", "-"},
      {"out + 1", "-"},
      {"1 / 0", "-"},
      {"1e308 * 10", "-"},
      {"", "a number, a name or ( is missing before the end"},
      {"1 +", "a number, a name or ( is missing before the end"},
      {"(1", ") is missing before the end"},
      {"1 2", "something is missing before \"2\""},
      {"1 )", "something is missing before \")\""},
      {"1 % 2", "something is missing before \"% 2\""},
      {"m4", "m4 is not there: the type has 3 attributes (mibname)"},
      {"m0", "m0 is no attribute, no parameter, and not calculated before"},
      {"m99999999999", "m99999999999 is no attribute, no parameter, and not calculated before"},
      {"later", "later is no attribute, no parameter, and not calculated before"},
      {"rate(in)", "rate() takes one attribute, as m1"},
      {"rate(m1", "rate() takes one attribute, as m1"},
      {"max(m1)", "max() is not known: there are rate() and answered()"},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(expected, value_of(text)) << text;
  const auto many = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  EXPECT_EQ("1", value_of(many("(", 64) + "1" + many(")", 64)));
  EXPECT_EQ(0u, value_of(many("(", 100000)).find("too many brackets are open before"));
  EXPECT_EQ("64", value_of(many("1+(", 63) + "1" + many(")", 63)));
  EXPECT_EQ(0u, value_of(many("1+(", 64) + "1" + many(")", 64)).find("too much is open before"));
  EXPECT_EQ("1", value_of(many("-", 100000) + "1"));
}

TEST(Definitions, TellWhatIsWrongByLine) {
  std::vector<FaultLine> faults;
  const Definition made = define({{OXREP_TYPE_CALCDATA, "in = rate(m1) * unit", 1},
                                  {OXREP_TYPE_MIBNAME, ".a", 2},
                                  {OXREP_TYPE_PARAMETER, "unit 8", 3},
                                  {OXREP_TYPE_CALCDATA, "in = 1", 4},
                                  {OXREP_TYPE_CALCDATA, "m1 = 1", 5},
                                  {OXREP_TYPE_CALCDATA, "gap = 1", 6},
                                  {OXREP_TYPE_CALCDATA, "1", 7},
                                  {OXREP_TYPE_PARAMETER, "x y z", 8},
                                  {OXREP_TYPE_PARAMETER, "x 8k", 9},
                                  {OXREP_TYPE_GRAPHDATA, "Traffic of lines bit/s in m1", 10},
                                  {OXREP_TYPE_GRAPHDATA, "Traffic bit/s", 11},
                                  {OXREP_TYPE_GRAPHDATA, "Traffic bit/s m2", 12},
                                  {OXREP_TYPE_CSVDATA, "time in m1", 13},
                                  {OXREP_TYPE_CSVDATA, "m2", 14},
                                  {OXREP_TYPE_FORMFILE, "../x", 15}},
                                 faults);
  std::string told;
  for (const FaultLine& fault : faults) told += std::to_string(fault.line) + ' ' + fault.text + '\n';
  EXPECT_EQ(
      "4 in is there already\n"
      "5 m1 has a meaning of its own; take another name\n"
      "6 gap has a meaning of its own; take another name\n"
      "7 write NAME = expression, as \"in = rate(m1) * 8\"\n"
      "8 a parameter is its name and its default, as \"unit 8\"\n"
      "9 \"8k\" is no number\n"
      "11 a plot is its title, its unit and names, as \"Traffic bit/s in out\"\n"
      "12 m2 is neither an attribute nor calculated before\n"
      "14 m2 is no column: there are time, component, index, label, gap, m1 ... and what is calculated\n"
      "15 the page's file has a folder\n",
      told);
  ASSERT_EQ(1u, made.graphs.size());
  EXPECT_EQ("Traffic of lines", made.graphs[0].title);
  EXPECT_EQ("bit/s", made.graphs[0].unit);
  EXPECT_EQ((std::vector<std::size_t>{0, 1}), made.graphs[0].results);  // m1 is a result now
  EXPECT_EQ(3u, made.columns.size());
  EXPECT_TRUE(made.uses_rates());
  faults.clear();
  (void)define({}, faults);
  EXPECT_EQ(2u, faults.size());
}

TEST(Periods, FollowTheCalendar) {
  const tool::ZonePtr zone = tool::open_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  const struct {
    const char *at, *period, *name, *last;
  } rows[] = {
      {"2026-11-22 13:05:07", "1D", "2026-11-22", "2026-11-22 23:59:59"},
      {"2026-10-25 12:00", "1D", "2026-10-25", "2026-10-25 23:59:59"},  // of 25 hours
      {"2026-11-22 13:05", "1W", "2026-11-16", "2026-11-22 23:59:59"},  // a Sunday
      {"2026-11-23 00:00", "1W", "2026-11-23", "2026-11-29 23:59:59"},
      {"2026-02-28 13:05", "1M", "2026-02-01", "2026-02-28 23:59:59"},
      {"2026-11-22 13:05", "3M", "2026-10-01", "2026-12-31 23:59:59"},
      {"2026-11-22 13:05", "1Y", "2026-01-01", "2026-12-31 23:59:59"},
      {"2026-11-22 13:05", "6h", "2026-11-22T1200", "2026-11-22 17:59:59"},
      {"2026-11-22 13:05:07", "30s", "2026-11-22T130500", "2026-11-22 13:05:29"},
  };
  for (const auto& row : rows) {
    const tool::Period period = *tool::period_of(row.period);
    const std::uint32_t at = tool::moment(zone.get(), row.at);
    const Span span = period_around(zone.get(), at, period);
    EXPECT_EQ(row.name, period_name(zone.get(), span, period));
    EXPECT_EQ(row.last, tool::shown_time(zone.get(), span.to)) << row.name;
    EXPECT_TRUE(span.from <= at && at <= span.to) << row.name;
    EXPECT_EQ(at, iso_moment(tool::iso_time(zone.get(), at)));
  }
  for (const char* const text : {"", "yesterday", "2026-11-22T13:05:00", "2026-99-22T13:05:00+01:00"}) {
    EXPECT_EQ(0u, iso_moment(text)) << text;
  }
}

}  // namespace
}  // namespace report
