// Times at which entries have something to do, and that each is told once, whatever the clocks do.
#include "manager/jobs/scheduler.h"

#include <oxbase/oxc.h>

#include "tests/manager/virtual_clock.h"
#include "tests/support/test.h"

namespace ox::manager {
namespace {

constexpr char berlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";

std::uint32_t at(const Zone& zone, const std::string& text) {
  oxcDate date{};
  (void)std::sscanf(text.c_str(), "%d-%d-%d %d:%d:%d", &date.year, &date.month, &date.day, &date.hour, &date.minute,
                    &date.second);
  return zone.seconds(date);
}
std::string shown(const Zone& zone, std::uint32_t time) {
  const oxcDate date = zone.date(time);
  char text[40];
  (void)std::snprintf(text, sizeof text, "%02d-%02d %02d:%02d:%02d", date.month, date.day, date.hour, date.minute,
                      date.second);
  return text;
}

TEST(Period, BoundariesByTheClockAndByTheCalendar) {
  const Zone zone(berlin);
  struct Row {
    const char* period;
    const char* start;
    const char* after;
    const char* next;
    const char* last;  // up to `after`
  };
  const Row rows[] = {
      {"90", "", "2026-06-01 00:01:00", "06-01 00:01:30", "06-01 00:00:00"},
      {"7h", "", "2026-06-01 21:00:00", "06-02 00:00:00", "06-01 21:00:00"},
      {"2h", "", "2026-03-29 00:30:00", "03-29 03:00:00", "03-29 00:00:00"},
      {"30m", "2026-06-01 10:10:00", "2026-06-01 12:00:00", "06-01 12:10:00", "06-01 11:40:00"},
      {"30m", "2026-06-01 10:10:00", "2026-05-01 12:00:00", "06-01 10:10:00", ""},
      {"24h", "2026-03-28 10:00:00", "2026-03-28 20:00:00", "03-29 11:00:00", "03-28 10:00:00"},
      {"1D", "2026-03-28 10:00:00", "2026-03-28 20:00:00", "03-29 00:00:00", ""},
      {"2D", "2026-06-01 10:00:00", "2026-06-03 00:00:00", "06-05 00:00:00", "06-03 00:00:00"},
      {"1W", "", "2026-06-03 12:00:00", "06-07 00:00:00", "05-31 00:00:00"},
      {"1M", "", "2026-12-31 23:59:59", "01-01 00:00:00", "12-01 00:00:00"},
      {"5M", "2026-06-15 10:00:00", "2026-06-20 10:00:00", "11-01 00:00:00", ""},
      {"1Y", "", "2026-06-03 12:00:00", "01-01 00:00:00", "01-01 00:00:00"},
  };
  for (const Row& row : rows) {
    const Period period = parse_period(row.period).value();
    const std::uint32_t start = *row.start != '\0' ? at(zone, row.start) : 0;
    const std::uint32_t after = at(zone, row.after);
    EXPECT_EQ(row.next, shown(zone, period.next(zone, start, after).value())) << row.period << ' ' << row.after;
    const auto last = period.last(zone, start, after);
    EXPECT_EQ(row.last, last ? shown(zone, *last) : "") << row.period << ' ' << row.after;
  }
  const Zone cuba("CST5CDT,M3.2.0/0,M11.1.0/1");  // where a midnight comes twice
  const std::uint32_t second = at(cuba, "2026-11-01 01:00:00") - 1800;
  EXPECT_EQ("11-02 00:00:00", shown(cuba, parse_period("1D")->next(cuba, 0, second).value()));
  EXPECT_EQ("03-29 20:00:00", shown(zone, parse_period("1D")->later(zone, at(zone, "2026-03-28 20:00:00"))));
  EXPECT_EQ("03-03 20:00:00", shown(zone, parse_period("1M")->later(zone, at(zone, "2026-01-31 20:00:00"))));
  for (const char* bad : {"", "0", "m", "5x", "5mm", "-1", "5 m", "101Y", "4000000000", "99999999999"}) {
    EXPECT_FALSE(parse_period(bad)) << bad;
  }
}

class SchedulerTest : public testing::Test {
 protected:
  static constexpr std::int64_t noon = 1'780'308'000;  // 2026-06-01 12:00:00 in Berlin

  Plan plan(const std::string& schedule, const std::string& period = "", std::uint32_t start = 0) const {
    Plan made{.period = parse_period(period).value_or(Period{}), .start = start, .zone = &zone_};
    EXPECT_EQ(0u, read_schedule(schedule, made.schedule));
    return made;
  }
  Scheduler::Id add(Plan made, std::uint32_t told) {
    return scheduler_.plan(std::move(made), told, [this](const Due& due) {
      static const char* const arrivals[] = {"", " again", " down", " set"};
      std::string kinds;
      for (std::uint32_t bit = 0; bit < 4; ++bit) {
        if ((due.kinds >> bit & 1) != 0) kinds += "!(.)"[bit == 3 ? 2 : bit == 2 ? 3 : bit];
      }
      told_ += (told_.empty() ? "" : "; ") + shown(zone_, due.time).substr(6) + kinds +
               (due.count > 1 ? " x" + std::to_string(due.count) : "") + arrivals[static_cast<int>(due.arrival)];
    });
  }
  std::string told() { return std::exchange(told_, {}); }

  Zone zone_{berlin};
  VirtualClock clock_{noon};
  Scheduler scheduler_{clock_};
  std::string told_;
};

TEST_F(SchedulerTest, TellsEachMomentAndWhatItIs) {
  struct Row {
    const char* what;
    Plan made;
    const char* told;  // in two hours from noon
  };
  Plan inverted = plan("12:30:00-13:30:00,12:45:00", "1h");
  inverted.inverted = true;
  const Row rows[] = {
      {"boundaries in a range", plan("12:00:00-13:30:00", "30m"), "12:30:00.; 13:00:00.; 13:30:00)"},
      {"an opening that is a boundary", plan("13:00:00-13:30:00", "1h"), "13:00:00(.; 13:30:00)"},
      {"a start in a range", plan("11:00:00-13:30:00", "", noon + 1800), "12:30:00(; 13:30:00)"},
      {"inverted", inverted, "12:30:00); 13:30:00(; 14:00:00."},
      {"never", plan("", "", noon - 600), ""},
  };
  for (const Row& row : rows) {
    VirtualClock clock(noon);
    const auto id = add(row.made, noon);
    clock_.pass_until(noon + 7200);
    EXPECT_EQ(row.told, told()) << row.what;
    scheduler_.forget(id);
    clock_.set(-7200);
    clock_.pass(1000);
    clock_.set(-1);
  }
}

TEST_F(SchedulerTest, WhatWentByIsMissedOnceAndTheLastMinuteIsLate) {
  add(plan("10:00:00,11:00:00,11:59:30,11:59:50,12:00:00"), noon - 7200 - 1);
  clock_.pass(0);
  EXPECT_EQ("10:00:00! down; 11:00:00! down; 11:59:30! down; 11:59:50! down; 12:00:00!", told());
  clock_.set(60 * 60);
  add(plan("12:59:30"), noon + 60);
  add(plan("", "1s", noon), noon);
  clock_.pass(1000);
  EXPECT_EQ("12:00:01. x3540 down; 12:59:01. down", told().substr(0, 36));
  clock_.pass(5000);
}

TEST_F(SchedulerTest, AClockThatIsSet) {
  add(plan("12:00:02,12:30:00,13:00:00,13:30:10,14:00:00"), noon);
  clock_.pass(2500);
  clock_.set(90 * 60);
  clock_.pass(60'000);
  EXPECT_EQ("12:00:02!; 12:30:00! set; 13:00:00! set; 13:30:10!", told());
  clock_.set(-40 * 60);
  const auto seconds = add(plan("", "10m", noon), scheduler_.now());
  clock_.pass(45 * 60'000);
  EXPECT_EQ("13:00:00.; 13:10:00.; 13:20:00.; 13:30:00.", told());
  clock_.set(-20 * 60);
  clock_.pass(10 * 60'000);
  EXPECT_EQ("13:20:00. again", told());
  scheduler_.forget(seconds);
  clock_.set(-2 * 60 * 60);
  clock_.pass(80 * 60'000);
  EXPECT_EQ("12:00:02! again; 12:30:00! again", told());

  for (int i = 0; i < 20'000; ++i) add(plan("", "1D", noon), scheduler_.now());
  clock_.set(-2 * 60 * 60);
  const int before = clock_.calls();
  clock_.pass(1000);
  EXPECT_GT(clock_.calls(), before + 3) << "all of them go on in steps";
  clock_.pass_until(noon - 60);
  EXPECT_EQ("", told());
  clock_.pass_until(noon + 12 * 3600);
  EXPECT_EQ(20'000u + 5, std::count(told_.begin(), told_.end(), ';') + 1u) << "and none forgets its day";
}

}  // namespace
}  // namespace ox::manager
