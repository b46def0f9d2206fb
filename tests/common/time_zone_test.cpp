// Time zones: texts, compiled files, the process's own; times that come twice or not at all.
#include "common/time_zone.h"

#include <memory>

#include "platform/clock.h"
#include "platform/environment.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/texts.h"

namespace {

struct ZoneDelete {
  void operator()(oxcZone* zone) const { EXPECT_EQ(0u, oxcZoneFree(zone)); }
};
using Zone = std::unique_ptr<oxcZone, ZoneDelete>;

Zone opened(const char* text) {
  oxcZone* zone = nullptr;
  EXPECT_EQ(0u, oxcZoneOpen(text, &zone)) << text;
  return Zone(zone);
}

std::string shown(const Zone& zone, std::uint32_t seconds) {
  oxcDate d{};
  EXPECT_EQ(0u, oxcZoneToDate(zone.get(), seconds, &d));
  char text[80];
  (void)std::snprintf(text, sizeof text, "%d/%d/%d %02d:%02d:%02d %d %+d", d.year, d.month, d.day, d.hour, d.minute,
                      d.second, d.weekday, d.offset);
  return text;
}

TEST(TimeZones, DatesOfMoments) {
  const std::tuple<const char*, std::uint32_t, const char*> rows[] = {
      {"JST-9", 0, "1970/1/1 09:00:00 4 +32400"},
      {"JST-9", UINT32_MAX, "2106/2/7 15:28:15 0 +32400"},
      {"<-0330>3:30:15", 12'600, "1969/12/31 23:59:45 3 -12615"},
      {"EST5EDT,M3.2.0,M11.1.0", 1'710'053'999, "2024/3/10 01:59:59 0 -18000"},
      {"EST5EDT,M3.2.0,M11.1.0", 1'710'054'000, "2024/3/10 03:00:00 0 -14400"},
      {"EST5EDT", 1'730'613'599, "2024/11/3 01:59:59 0 -14400"},
      {"EST5EDT", 1'730'613'600, "2024/11/3 01:00:00 0 -18000"},
      {"AEST-10AEDT,M10.1.0,M4.1.0/3", 0, "1970/1/1 11:00:00 4 +39600"},
      {"AEST-10AEDT,M10.1.0,M4.1.0/3", 1'712'419'200, "2024/4/7 02:00:00 0 +36000"},
      {"<-02>2<-01>,M3.5.0/-1,M10.5.0/0", 1'711'846'800, "2024/3/31 00:00:00 0 -3600"},
      {"XXX0YYY-2,J60/0,300", 1'709'251'200,
       "2024/3/1 02:00:00 5 +7200"},  // J60 is the first of March in leap years too
      {"XXX0YYY,0/0,J365/25", 1'704'067'200, "2024/1/1 01:00:00 1 +3600"},  // summer all year
  };
  for (const auto& [zone, seconds, date] : rows) EXPECT_EQ(date, shown(opened(zone), seconds)) << zone;
  for (const std::string& text : ox::test::split(
           "5|AB5|<+3|<+03>|EST25|EST5:60|EST5EDT4,|EST5EDT,M3.2.0|EST5EDT,M13.1.0,M11.1.0|EST5EDT,M3.6.0,M11.1.0|"
           "EST5EDT,J0,J1|EST5EDT,366,J1|EST5EDT,M3.2.0/168,M11.1.0|EST5EDT,M3.2.0,M11.1.0x|../../etc/passwd|no/"
           "zone")) {
    oxcZone* zone = nullptr;
    EXPECT_EQ(70u, oxcZoneOpen(text.c_str(), &zone)) << text;
  }
}

TEST(TimeZones, MomentsOfDatesAreTheFirstAtWhichTheClocksShowThemOrLater) {
  const Zone zone = opened("EST5EDT,M3.2.0,M11.1.0");
  const std::pair<oxcDate, const char*> rows[] = {{{2024, 3, 10, 2, 0, 0, 0, 0}, "2024/3/10 03:00:00 0 -14400"},
                                                  {{2024, 3, 10, 2, 59, 59, 0, 0}, "2024/3/10 03:00:00 0 -14400"},
                                                  {{2024, 11, 3, 1, 30, 0, 0, 0}, "2024/11/3 01:30:00 0 -14400"},
                                                  {{2024, 11, 3, 2, 0, 0, 0, 0}, "2024/11/3 02:00:00 0 -18000"},
                                                  {{2023, 14, 30, -1, 0, 3600, 9, 9}, "2024/3/1 00:00:00 5 -18000"},
                                                  {{2024, 1, 0, 0, 0, 0, 0, 0}, "2023/12/31 00:00:00 0 -18000"}};
  for (const auto& [date, expected] : rows) {
    std::uint32_t seconds = 0;
    EXPECT_EQ(0u, oxcZoneToSeconds(zone.get(), &date, &seconds));
    EXPECT_EQ(expected, shown(zone, seconds));
  }
  for (const oxcDate& date : {oxcDate{1969, 12, 31, 18, 59, 59, 0, 0},
                              {2106, 3, 1, 0, 0, 0, 0, 0},
                              {INT32_MAX, INT32_MAX, 1, 0, 0, 0, 0, 0},
                              {INT32_MIN, 1, 1, 0, 0, 0, 0, 0}}) {
    std::uint32_t seconds = 0;
    EXPECT_EQ(70u, oxcZoneToSeconds(zone.get(), &date, &seconds)) << date.year;
  }
}

TEST(TimeZones, TheProcessesOwnIsWhatTheSystemShows) {
  for (const char* text : {"EST5EDT", "UTC0", "JST-9"}) {
    ASSERT_EQ(0u, ox::platform::set_time_zone(text));
    const Zone zone = opened("");
    for (std::uint64_t time = 0; time <= UINT32_MAX; time += 3'601 * 31) {
      std::tm t{};
      ASSERT_TRUE(ox::platform::local_time(static_cast<std::uint32_t>(time), t));
      const std::string date = shown(zone, static_cast<std::uint32_t>(time));
      char expected[80];
      (void)std::snprintf(expected, sizeof expected, "%d/%d/%d %02d:%02d:%02d %d ", t.tm_year + 1900, t.tm_mon + 1,
                          t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, t.tm_wday);
      ASSERT_TRUE(date.starts_with(expected)) << text << time << date;
    }
  }
}

// Two changes, and summer times behind them.
std::string zone_file() {
  const std::string head = "'TZif2'" + ox::test::repeated(" 00", 15);
  return ox::test::bytes(head + " 00000000 00000000 00000000 00000001 00000001 00000001" +
                         " 80000000 00 00000000 00 00 00" + head +
                         " 00000001 00000000 00000000 00000002 00000002 00000004" +
                         " FFFFFFFFFFFFFFFF 0000000000001000 01 00 00000E10 00 00 00001C20 01 00 41424300 01" +
                         " 0A 'ABC-1ABD,M3.5.0,M10.5.0/3' 0A");
}

TEST(TimeZones, CompiledFiles) {
  ox::ZoneRules rules;
  ASSERT_TRUE(ox::read_zone_file(zone_file(), rules));
  const ox::ZoneTable table(rules.offset, rules.changes);
  const std::pair<std::int64_t, int> rows[] = {
      {-2, 3600}, {-1, 7200}, {4095, 7200}, {4096, 3600}, {1'711'846'799, 3600}, {1'711'846'800, 7200}};
  for (const auto& [time, offset] : rows) EXPECT_EQ(offset, table.offset(time)) << time;
  const std::string good = zone_file();
  for (std::size_t at = 0; at < good.size(); ++at) {
    const std::vector<char> part(good.begin(), good.begin() + at);
    EXPECT_FALSE(ox::read_zone_file({part.data(), at}, rules)) << at;
    std::string damaged = good;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x80);
    if (ox::read_zone_file(damaged, rules)) (void)ox::ZoneTable(rules.offset, rules.changes);
  }
}

TEST(TimeZones, EveryAllocationMayFail) {
  for (const char* text : {"", "EST5EDT"}) {
    ox::test::every_allocation_may_fail([&] {
      oxcZone* zone = nullptr;
      const OX_RESULT result = oxcZoneOpen(text, &zone);
      (void)oxcZoneFree(zone);
      return result;
    });
  }
}

}  // namespace
