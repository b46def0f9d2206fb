// Schedules: what their texts are read into, what that means, and what of it is doubtful.
#include <cinttypes>
#include <cstdarg>
#include <memory>

#include <oxbase/oxcmd.h>

#include "platform/environment.h"
#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/texts.h"

namespace {

using ox::test::SameBlocks, ox::test::split;

OX_PRINTF(1, 2) std::string text_of(const char* format, ...) {
  char text[64];
  std::va_list values;
  va_start(values, format);
  (void)std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  return text;
}

std::string times_of(const oxcmdSchTime* list) {
  std::string text;
  for (; list != nullptr; list = list->next) text += text_of(" %" PRIu32 "-%" PRIu32, list->start, list->end);
  return text;
}

// "times|weekdays days months|dates|calendar", or the code.
std::string read(const std::string& text) {
  Schedule* schedule = nullptr;
  const OX_RESULT result = oxcmdStrToSchedule(text.c_str(), &schedule);
  if (result != OX_OK) return std::to_string(result);
  if (schedule == nullptr) return "none";
  std::string all = times_of(schedule->times) +
                    text_of("|%x %x %x|", unsigned{schedule->weekdays}, schedule->days, unsigned{schedule->months});
  all += times_of(schedule->dates) + "|";
  for (const oxcmdCalender* item = schedule->calender; item != nullptr; item = item->next) {
    all += text_of(" %" PRIu32 ",%x,%x,%x,%x", item->year, unsigned{item->flag}, unsigned{item->months}, item->days,
                   unsigned{item->weekdays}) +
           times_of(item->times);
  }
  EXPECT_EQ(0u, oxcmdScheduleFree(schedule));
  return all;
}

TEST(ScheduleText, IsReadAsWritten) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("JST-9"));
  const std::pair<const char*, const char*> rows[] = {
      {"", "none"},
      {" \t", "none"},
      {"* * * * *", "|0 0 0||"},
      {"08:00:00-17:30:00 1-5", " 28800-63000|3e 0 0||"},
      {"12:00:00,-06:00:00,1:2:3-,-,25:00:00,,9:9:9", " 43200-0 0-21600 3723-0 0-0 90000-0|0 0 0||"},
      {"00:00:00-24:00:00 6,0 0x1f,010,1-3 0x0C", " 0-86400|41 40000087 800||"},
      {"* 5-2,1-,", "70"},
      {"* 5-2,1 * 12,,x", "|2 0 800||"},
      {"* * * * 2009/09/03-2010/1/1.1:2:3,-future,present,past",
       "|0 0 0| 1251903600-1262275323 0-2145916800 0-0 662655600-0|"},
      {"* * * * * 2024|~0/12/24-26/*/5/12:00:00-24:00:00,1:1:1||x", "70"},  // the days' place is the third
      {"* * * * * 2024|~0/12/24-26/5/12:00:00-24:00:00,1:1:1||x",
       "|0 0 0|| 2024,0,0,0,0 0,80,800,3800000,20 43200-86400 3661-0"},
      {"* * * * * 1//2/3/4/5/6/7", "86"},
      {"* * * * * 0/*/*/*/*/x", "|0 0 0|| 0,0,0,0,0"},
      {"* * * * * * *", "86"},
      {"'*", "68"},
      {"* 99999999999", "88"},
      {"123456789", "1"}};
  const SameBlocks same_blocks;
  for (const auto& [text, record] : rows) EXPECT_EQ(record, read(text)) << text;
  for (const std::string& text : split("* 7|* * 0|* * 32|* * * 13|* 08|1:2|1:2:3:|1::2:3|+1:2:3|* * * * 2009/09/03x|* "
                                       "* * * * *x|* * * * * /|* * * * * ~")) {
    EXPECT_EQ("70", read(text)) << text;
  }
  EXPECT_EQ(0u, oxcmdStrToSchedule("* 1", nullptr));
  EXPECT_EQ(70u, oxcmdStrToSchedule("* 9", nullptr));
  std::uint8_t mask = 1;
  EXPECT_EQ(70u, oxcmdStrToWday("5-9", &mask));
  EXPECT_EQ(0x61, mask) << "what stood before the error";
}

TEST(ScheduleText, EveryAllocationMayFail) {
  ox::test::every_allocation_may_fail([] {
    Schedule* schedule = nullptr;
    const OX_RESULT result = oxcmdStrToSchedule(
        "1:0:0-2:0:0,3:0:0 1 1 1 2009/09/03.10:20:30-2010/09/03.10:20:30 1/1/1/1/1:0:0|2/1/000000000000000000001",
        &schedule);
    (void)oxcmdScheduleFree(schedule);
    return result;
  });
}

// ---- Meaning ----

struct ZoneDelete {
  void operator()(oxcZone* zone) const { (void)oxcZoneFree(zone); }
};
struct ScheduleDelete {
  void operator()(Schedule* schedule) const { (void)oxcmdScheduleFree(schedule); }
};
using OwnedSchedule = std::unique_ptr<Schedule, ScheduleDelete>;

std::unique_ptr<oxcZone, ZoneDelete> zone_of(const char* text) {
  oxcZone* zone = nullptr;
  EXPECT_EQ(0u, oxcZoneOpen(text, &zone));
  return std::unique_ptr<oxcZone, ZoneDelete>(zone);
}

OwnedSchedule schedule_of(const std::string& text) {
  Schedule* schedule = nullptr;
  EXPECT_EQ(0u, oxcmdStrToSchedule(text.c_str(), &schedule)) << text;
  return OwnedSchedule(schedule);
}

// What a schedule makes of the time from a moment of Greenwich on, by the clocks of the zone: "10/28 02:30+" opens, "-"
// closes, "!" is an instant. Found in both directions; at each of it the moment before and the moment itself are inside
// or refused accordingly.
std::string happenings(const char* zone_text, std::uint32_t from, const char* text) {
  const auto zone = zone_of(zone_text);
  const OwnedSchedule schedule = schedule_of(text);
  const auto inside = [&](std::uint32_t at) {
    std::uint32_t in = 9, refused = 99;
    EXPECT_EQ(0u, oxcmdScheduleInside(schedule.get(), zone.get(), at, &in, nullptr, nullptr));
    EXPECT_EQ(0u, oxcmdScheduleRefusal(schedule.get(), zone.get(), at, &refused));
    EXPECT_TRUE(in == 0 || refused == 0);
    return in != 0 ? 1 : refused == 0 ? 2 : 0;
  };
  std::string all;
  std::uint32_t time = from, kinds = 0, before = 0;
  for (int n = 0; n < 6 && oxcmdScheduleNext(schedule.get(), zone.get(), from, &time, &kinds) == 0; ++n, from = time) {
    oxcDate d{};
    EXPECT_EQ(0u, oxcZoneToDate(zone.get(), time, &d));
    all += text_of("%d/%d %02d:%02d", d.month, d.day, d.hour, d.minute) + ((kinds & 1) != 0 ? "!" : "") +
           ((kinds & 2) != 0 ? "+" : "") + ((kinds & 4) != 0 ? "-" : "") + ' ';
    EXPECT_EQ((kinds & 2) != 0 || ((kinds & 4) == 0 && inside(time - 1) == 1), inside(time) == 1) << all;
    EXPECT_EQ(kinds == 1 && inside(time) != 1, inside(time) == 2) << all;
    if (n == 0) continue;
    EXPECT_EQ(0u, oxcmdSchedulePrev(schedule.get(), zone.get(), time, &before, nullptr));
    EXPECT_EQ(from, before) << all;
  }
  return all;
}

TEST(ScheduleMeaning, IsWhatItsDaysSay) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("UTC0"));
  constexpr const char *east = "EST5EDT", *half = "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0",
                       *midnight = "<-02>2<-01>,M3.5.0/-1,M10.5.0/0";
  constexpr std::uint32_t march = 1'709'960'400;  // 2024-03-09 05:00 UTC; the clocks of the east go on the next day
  constexpr std::uint32_t end_of_march = 1'711'670'400, april = 1'712'361'600, november = 1'730'520'000;
  const std::tuple<const char*, std::uint32_t, const char*, const char*> rows[] = {
      {east, march, "01:30:00,02:30:00,03:00:00",
       "3/9 01:30! 3/9 02:30! 3/9 03:00! 3/10 01:30! 3/10 03:00! 3/11 01:30! "},
      {east, march, "01:00:00-02:30:00,02:30:00-03:00:00,05:00:00-04:00:00",
       "3/9 01:00+ 3/9 03:00- 3/10 01:00+ 3/10 03:00- 3/11 01:00+ 3/11 03:00- "},
      {east, november, "01:30:00,01:00:00-02:30:00",
       "11/2 01:00+ 11/2 01:30! 11/2 02:30- 11/3 01:00+ 11/3 01:30! 11/3 02:30- "},
      {east, november, "23:00:00-50:00:00 0,6",
       "11/2 23:00+ 11/5 02:00- 11/9 23:00+ 11/12 02:00- 11/16 23:00+ 11/19 02:00- "},
      {east, march, "-06:00:00,26:30:00,- 0",
       "3/10 00:00!+ 3/10 06:00- 3/11 02:30! 3/17 00:00!+ 3/17 06:00- 3/18 02:30! "},
      {half, april, "01:00:00-02:30:00 0,6", "4/7 01:00+ 4/7 02:30- 4/13 01:00+ 4/13 02:30- 4/14 01:00+ 4/14 02:30- "},
      {midnight, end_of_march, "00:00:00-24:00:00 0",
       "3/31 00:00+ 4/1 00:00- 4/7 00:00+ 4/8 00:00- 4/14 00:00+ 4/15 00:00- "},
      {midnight, end_of_march, "00:00:00,23:30:00 0,6",
       "3/30 00:00! 3/31 00:00! 3/31 23:30! 4/6 00:00! 4/6 23:30! 4/7 00:00! "},
      {east, march, "* 1-5 * * * ~0/3/12", "3/11 00:00+ 3/12 00:00- 3/13 00:00+ 3/16 00:00- 3/18 00:00+ 3/23 00:00- "},
      {east, march, "20:00:00-50:00:00 * * * * ~0/3/11|~0/3/13/*/22:00:00-23:00:00",
       "3/12 02:00- 3/12 20:00+ 3/12 02:00- 3/12 20:00+ 3/12 02:00- 3/12 20:00+ "},
      {east, march, "08:00:00-17:00:00 * 31 * * 2024/*/31|~0/*/*/5/12:00:00-24:00:00,02:30:00",
       "3/31 00:00+ 4/1 00:00- 5/31 00:00+ 5/31 12:00- 7/31 00:00+ 8/1 00:00- "},
      {east, march, "* 2 31 * * 0/3,10,11/*/0/02:30:00,01:00:00-26:00:00|2023",
       "3/10 01:00+ 3/10 03:00! 3/11 02:00- 3/17 01:00+ 3/17 02:30! 3/18 02:00- "},
      {east, november, "12:00:00 * * * 2024/11/3.0:00-2024/11/4.12:00,2024/11/5.17:00", "11/3 12:00! 11/5 12:00! "},
      {east, march, "08:00:00-17:00:00 * * * 2024/3/10.14:00,2024/3/11.3:00,2024/3/11.15:00-2024/3/12.14:00",
       "3/10 10:00! 3/11 11:00+ 3/11 17:00- 3/12 08:00+ 3/12 10:00- "},
      {midnight, end_of_march, "30:00:00 5", "3/30 06:00! 4/6 06:00! 4/13 06:00! 4/20 06:00! 4/27 06:00! 5/4 06:00! "},
      {east, march, "02:00:00-50:00:00,49:30:00 6 * * * ~0/3/11/*/1:30:00,1:00:00-2:00:00",
       "3/9 02:00+ 3/11 01:30! 3/11 02:00- 3/16 02:00+ 3/18 01:30! 3/18 02:00- "},
  };
  for (const auto& [zone, from, text, told] : rows) EXPECT_EQ(told, happenings(zone, from, text)) << text;
}

// "time kinds", or what there is none of.
std::string happening(const Schedule& schedule, const oxcZone* zone, decltype(&oxcmdScheduleNext) search,
                      std::uint32_t from) {
  std::uint32_t time = 0;
  std::uint32_t kinds = 0;
  if (search(&schedule, zone, from, &time, &kinds) == OX_ENOTFOUND) return "never";
  return text_of("%" PRIu32 " %" PRIu32, time, kinds);
}

TEST(ScheduleMeaning, HasNoEndWhereItsRangesHaveNone) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("UTC0"));
  const auto zone = zone_of("UTC0");
  constexpr std::uint32_t now = 1'700'000'000;
  // What happens before and after now, and the range around it.
  const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
      {"* * * * *", "never", "never", "0-4294967295"},
      {"00:00:00-12:00:00,12:00:00-24:00:00 0-6 1-31 1-12", "never", "never", "0-4294967295"},
      {"* * * * 2001/9/9.1:46:40-future", "1000000000 2", "2145916800 4", "1000000000-2145916800"},
      {"* * 31 2", "never", "never", ""},
      {"* 1 29 2", "1456790400 4", "2340316800 2", ""},
      {"* * * * -", "0 1", "never", ""},
      {"* * * * present-past", "662655600 4", "never", ""},
      {"00:00:00 * * * * 9999/1/1", "1699920000 1", "1700006400 1", ""},
  };
  for (const auto& [text, before, after, around] : rows) {
    const OwnedSchedule schedule = schedule_of(text);
    EXPECT_EQ(before, happening(*schedule, zone.get(), oxcmdSchedulePrev, now)) << text;
    EXPECT_EQ(after, happening(*schedule, zone.get(), oxcmdScheduleNext, now)) << text;
    std::uint32_t inside = 0;
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    EXPECT_EQ(0u, oxcmdScheduleInside(schedule.get(), zone.get(), now, &inside, &begin, &end));
    EXPECT_EQ(around, inside != 0 ? text_of("%" PRIu32 "-%" PRIu32, begin, end) : "") << text;
  }
}

TEST(ScheduleMeaning, TellsTheFieldsThatRefuse) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("UTC0"));
  const auto zone = zone_of("UTC0");
  constexpr std::uint32_t at = 1'700'000'000;  // Tuesday, 2023-11-14 22:13:20
  const std::pair<const char*, std::uint32_t> rows[] = {{"22:13:20", 0},
                                                        {"20:00:00-23:00:00 2 14 11 * ~0/11/15", 0},
                                                        {"20:00:00-21:00:00 2", 1},
                                                        {"* 3 14 10", 2 + 8},
                                                        {"20:00:00-21:00:00 3 13 11 -past", 1 + 2 + 4 + 16},
                                                        {"20:00:00-50:00:00 3", 2},
                                                        {"20:00:00-50:00:00 1", 0},
                                                        {"* * * * * ~0/11/14", 32},
                                                        {"* 3 * * * 0/11/14|~0/*/*/*/22:00:00-23:00:00", 32},
                                                        {"* 3 * * * 0/11/14/*/1:0:0", 2}};
  for (const auto& [text, fields] : rows) {
    std::uint32_t refused = 99;
    EXPECT_EQ(0u, oxcmdScheduleRefusal(schedule_of(text).get(), zone.get(), at, &refused));
    EXPECT_EQ(fields, refused) << text;
  }
}

std::string doubts(const char* text) {
  const auto zone = zone_of("UTC0");
  std::string told;
  std::uint32_t field = 0;
  const OX_RESULT result = oxcmdScheduleCheck(
      text, zone.get(), 1'700'000'000,
      [](void* to, std::uint32_t doubt, std::uint32_t number, const char* item) {
        *static_cast<std::string*>(to) += text_of(" %u@%u:", doubt, number) + item;
      },
      &told, &field);
  return result == OX_OK ? told : text_of("!%u@%u", result, field);
}

TEST(ScheduleDoubts, NameWhatIsReadInSilence) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("UTC0"));
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},
      {"08:00:00-17:30:00,20:00:00 1-5 31 1,2 2009/09/03-future 0/2/29/*/1:59:59", ""},
      {"22:00:00-06:00:00,1:0:0", " 1@1:22:00:00-06:00:00"},
      {"-,1:0:0-,1:0:0-0:0:0,,2:0:0", " 3@1:- 4@1:1:0:0- 5@1:1:0:0-0:0:0 9@1:2:0:0"},
      {"1:60:0,1:59:59,1:0:99-2:0:0", " 8@1:1:60:0 8@1:1:0:99-2:0:0"},
      {"* 5-2,1 31-30,1 4-2", " 1@2:5-2 1@3:31-30 1@4:4-2"},
      {"* * 30,31 2,4", " 2@3:30,31"},
      {"* * 30 2", " 2@3:30 10@0:* * 30 2"},
      {"* * * * 9/3-,present-2040/1/1,2001/1/1-present,2030/1/1-2029/1/1,past-future",
       " 6@5:9/3- 4@5:9/3- 7@5:present-2040/1/1 5@5:2001/1/1-present 1@5:2030/1/1-2029/1/1"},
      {"* * * * -past", " 10@0:* * * * -past"},
      {"* * * * * ~0", " 10@0:* * * * * ~0"},
      {"* * * * * 0/2/30/5-2/1:0:0-/x||y", " 2@6:30 1@6:5-2 4@6:1:0:0- 9@6:x 9@6:y"},
      {"* 7", "!70@2"},
      {"* * * * * 0/13", "!70@6"},
      {"* * * * * * *", "!86@0"}};
  for (const auto& [text, told] : rows) EXPECT_EQ(told, doubts(text)) << text;
}

}  // namespace
