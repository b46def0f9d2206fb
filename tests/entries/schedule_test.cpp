// Schedules: what their texts are read into, what that means, and what of it is doubtful.
#include <cinttypes>
#include <cstdarg>
#include <memory>
#include <random>

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
      {"* 7", "70"},
      {"* * 0", "70"},
      {"* * 32", "70"},
      {"* * * 13", "70"},
      {"* 08", "70"},
      {"* 99999999999", "88"},
      {"1:2", "70"},
      {"1:2:3:", "70"},
      {"1::2:3", "70"},
      {"+1:2:3", "70"},
      {"123456789", "1"},
      {"* * * * 2009/09/03x", "70"},
      {"* * * * * *x", "70"},
      {"* * * * * /", "70"},
      {"* * * * * ~", "70"}};
  const SameBlocks same_blocks;
  for (const auto& [text, record] : rows) EXPECT_EQ(record, read(text)) << text;
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

constexpr std::uint32_t step =
    600;  // seconds: every time of the random schedules and every shift of the clocks is one of them
constexpr std::uint32_t day_steps = 144;

// A year of a zone, ten minutes by ten minutes: what its clocks show, and what a schedule makes of it, painted day by
// day.
class Year {
 public:
  explicit Year(const oxcZone* zone) : begin_(1'703'980'800), shown_(day_steps * 368) {  // 2023-12-31
    for (std::uint32_t i = 0; i < shown_.size(); ++i) {
      oxcDate& d = shown_[i];
      EXPECT_EQ(0u, oxcZoneToDate(zone, time(i), &d));
      wall_.push_back(begin_ / step + static_cast<std::int64_t>(i) + d.offset / static_cast<std::int32_t>(step));
    }
  }

  [[nodiscard]] std::uint32_t time(std::size_t i) const { return begin_ + static_cast<std::uint32_t>(i) * step; }

  void paint(const Schedule& schedule) {
    inside_.assign(shown_.size(), false);
    instant_.assign(shown_.size(), false);
    for (std::size_t i = 0, last = 0; i < shown_.size(); ++i) {
      if (i != 0 && shown_[i].day == shown_[last].day) continue;
      last = i;
      paint_day(schedule, shown_[i], wall_[i] - (shown_[i].hour * 60 + shown_[i].minute) / 10);
    }
    std::vector<bool> inside = inside_;
    for (std::size_t i = 0; schedule.dates != nullptr && i < inside_.size(); ++i) {
      bool range = false;
      bool exact = false;
      for (const oxcmdSchTime* d = schedule.dates; d != nullptr; d = d->next) {
        range = range || (d->start <= time(i) && time(i) < d->end);
        exact = exact || (d->end == 0 && d->start == time(i));
      }
      inside_[i] = inside[i] && range;
      instant_[i] = (instant_[i] && range) || (exact && (inside[i] || instant_[i]));
    }
  }

  // What happens at a step, as oxcmdScheduleNext's kinds; the first step does not count.
  [[nodiscard]] std::uint32_t kinds(std::size_t i) const {
    return (instant_[i] ? 1u : 0u) | (inside_[i] && !inside_[i - 1] ? 2u : 0u) |
           (!inside_[i] && inside_[i - 1] ? 4u : 0u);
  }
  [[nodiscard]] bool inside(std::size_t i) const { return inside_[i]; }
  [[nodiscard]] bool held(std::size_t i) const { return inside_[i] || instant_[i]; }
  [[nodiscard]] std::size_t size() const { return shown_.size(); }

 private:
  static bool has(std::uint32_t mask, std::int32_t bit) { return mask == 0 || (mask >> bit & 1) != 0; }

  // The first step that shows it or later.
  [[nodiscard]] std::size_t place(std::int64_t wall) const {
    auto i = static_cast<std::size_t>(std::max<std::int64_t>(0, wall - wall_[0] - 20));
    while (i < wall_.size() && wall_[i] < wall) ++i;
    return i;
  }

  // The steps of one day and those that it runs into.
  struct Strip {
    std::size_t begin;
    std::vector<bool> inside, instant;
  };

  void put(const oxcmdSchTime* times, std::int64_t midnight, bool value, Strip& strip) const {
    static const oxcmdSchTime whole{nullptr, nullptr, 0, 86'400, 0};
    for (const oxcmdSchTime* t = times != nullptr ? times : &whole; t != nullptr; t = t->next) {
      const std::size_t from = place(midnight + t->start / step) - strip.begin;
      const std::size_t to = place(midnight + t->end / step) - strip.begin;
      if (t->end == 0) strip.instant[from] = value;
      for (std::size_t i = from; t->end != 0 && i < to; ++i) {
        strip.inside[i] = value;
        if (!value) strip.instant[i] = false;
      }
    }
  }

  void paint_day(const Schedule& s, const oxcDate& d, std::int64_t midnight) {
    constexpr std::size_t longest = day_steps * 4;
    Strip strip{place(midnight), std::vector<bool>(longest), std::vector<bool>(longest)};
    if (has(s.weekdays, d.weekday) && has(s.days, d.day - 1) && has(s.months, d.month - 1)) {
      put(s.times, midnight, true, strip);
    }
    for (const int flag : {0, 0x80}) {
      for (const oxcmdCalender* c = s.calender; c != nullptr; c = c->next) {
        if (c->flag != flag || !has(c->weekdays, d.weekday) || !has(c->days, d.day - 1) ||
            !has(c->months, d.month - 1) || (c->year != 0 && c->year != static_cast<std::uint32_t>(d.year))) {
          continue;
        }
        if (flag != 0 && c->times == nullptr) return;
        put(c->times, midnight, flag == 0, strip);
      }
    }
    for (std::size_t i = 0; i < longest && strip.begin + i < inside_.size(); ++i) {
      if (strip.inside[i]) inside_[strip.begin + i] = true;
      if (strip.instant[i]) instant_[strip.begin + i] = true;
    }
  }

  std::uint32_t begin_;
  std::vector<oxcDate> shown_;
  std::vector<std::int64_t> wall_;  // in steps
  std::vector<bool> inside_;
  std::vector<bool> instant_;
};

// Every step of the year at which something happens is found, in both directions, and nothing else; every other one
// is inside or has a reason.
void expect_as_painted(const std::string& text, const oxcZone* zone, Year& year) {
  SCOPED_TRACE(text);
  const OwnedSchedule schedule = schedule_of(text);
  year.paint(*schedule);
  const std::size_t first = day_steps + 60;  // days before the painted ones run into the first of them
  std::uint32_t found = 0;
  std::uint32_t kinds = 0;
  std::uint32_t from = year.time(first) - 1;
  std::uint32_t before = 0;
  for (std::size_t i = first; i < year.size() - day_steps * 2; ++i) {
    if (year.kinds(i) == 0) continue;
    ASSERT_EQ(0u, oxcmdScheduleNext(schedule.get(), zone, from, &found, &kinds));
    ASSERT_EQ(year.time(i), found) << year.kinds(i);
    ASSERT_EQ(year.kinds(i), kinds) << found;
    if (before != 0) {
      ASSERT_EQ(0u, oxcmdSchedulePrev(schedule.get(), zone, found, &from, &kinds));
      ASSERT_EQ(before, from);
    }
    from = before = found;
  }
  std::mt19937 random(1);
  for (int n = 0; n < 500; ++n) {
    const std::size_t i = first + random() % (day_steps * 360);
    std::uint32_t inside = 9;
    std::uint32_t fields = 99;
    ASSERT_EQ(0u, oxcmdScheduleInside(schedule.get(), zone, year.time(i), &inside, nullptr, nullptr));
    ASSERT_EQ(year.inside(i) ? 1u : 0u, inside) << year.time(i);
    ASSERT_EQ(0u, oxcmdScheduleRefusal(schedule.get(), zone, year.time(i), &fields));
    ASSERT_EQ(year.held(i), fields == 0) << year.time(i);
  }
}

std::string random_schedule(std::mt19937& random) {
  const auto pick = [&](std::vector<const char*> from) { return std::string(from[random() % from.size()]); };
  const auto times = [&] {
    return pick({"*", "08:00:00-17:00:00", "01:30:00,02:30:00,03:00:00", "22:00:00-26:00:00,12:00:00",
                 "02:10:00-02:50:00", "00:00:00-24:00:00", "01:00:00-02:30:00,02:30:00-03:00:00,05:00:00-04:00:00",
                 "23:00:00-50:00:00", "-06:00:00,26:30:00,-"});
  };
  return times() + " " + pick({"*", "1-5", "0,6", "0"}) + " " + pick({"*", "1,15,31", "1-9", "31"}) + " " +
         pick({"*", "3,4,10,11", "0x0B", "1-6"}) + " " +
         pick({"*", "*", "2024/3/1-2024/11/20", "2024/7/4.12:00,2024/10/1-future", "-2024/4/1,2024/9/1-2024/8/1"}) +
         " " +
         pick({"*", "0/12/25", "~0/12/25|~2024/3/10", "2024/*/31|~0/*/*/5/12:00:00-24:00:00,02:30:00",
               "0/3,10,11/*/0/02:30:00,01:00:00-26:00:00|2023"});
}

TEST(ScheduleMeaning, IsWhatItsDaysSayForAYear) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("UTC0"));
  for (const char* name : {"EST5EDT", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "<-02>2<-01>,M3.5.0/-1,M10.5.0/0"}) {
    const auto zone = zone_of(name);
    Year year(zone.get());
    std::mt19937 random(7);
    for (int n = 0; n < 20; ++n) expect_as_painted(random_schedule(random), zone.get(), year);
  }
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
