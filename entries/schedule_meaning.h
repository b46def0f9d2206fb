// What a schedule means in a time zone.
#pragma once

#include <cstdint>

#include <oxbase/oxcmd.h>

#include "common/time_zone.h"

namespace ox {

// A view of a schedule and a zone, which must outlive it. Moments are seconds since 1970 and may lie outside of 32
// bits. Two questions are answered moment by moment, whether it lies in a range and whether it is an instant; all else
// is a search among the moments at which the answer can change.
class ScheduleMeaning {
 public:
  ScheduleMeaning(const Schedule& schedule, const ZoneTable& zone) noexcept;

  [[nodiscard]] bool inside(std::int64_t time) const noexcept;
  [[nodiscard]] bool instant(std::int64_t time) const noexcept;
  // Which of the wanted kinds (OXCMD_INSTANT, OXCMD_OPENS, OXCMD_CLOSES) the moment is of.
  [[nodiscard]] std::uint32_t kinds(std::int64_t time, std::uint32_t wanted) const noexcept;

  // The nearest moment of one of these kinds after `time`, before it; false when there is none in 32 bits.
  [[nodiscard]] bool next(std::uint32_t wanted, std::int64_t time, std::int64_t& found) const noexcept;
  [[nodiscard]] bool previous(std::uint32_t wanted, std::int64_t time, std::int64_t& found) const noexcept;

  // OXCMD_TIMES and its like; 0 for a moment that is in a range or an instant.
  [[nodiscard]] std::uint32_t refusal(std::int64_t time) const noexcept;

 private:
  struct Day {
    explicit Day(std::int64_t number) noexcept;
    std::int64_t midnight;  // of the clocks
    std::uint32_t year, month, day, weekday;
  };
  enum class Point : std::uint8_t { range, instant };

  void reach(const oxcmdSchTime* times) noexcept;
  [[nodiscard]] std::int64_t longest() const noexcept;

  [[nodiscard]] std::int64_t number_of_day(std::int64_t time) const noexcept;
  [[nodiscard]] static std::uint32_t refused_by_fields(const Schedule& schedule, const Day& day) noexcept;
  [[nodiscard]] static bool names(const oxcmdCalender& item, const Day& day) noexcept;

  [[nodiscard]] bool holds(Point point, const oxcmdSchTime* times, const Day& day, std::int64_t time) const noexcept;
  [[nodiscard]] bool given(Point point, const Day& day, std::int64_t time) const noexcept;
  [[nodiscard]] bool taken_away(Point point, const Day& day, std::int64_t time) const noexcept;
  template <class Holds>
  [[nodiscard]] bool any_day(std::int64_t time, std::int64_t longest, Holds holds) const noexcept;
  // By the days alone, whatever the dates say.
  [[nodiscard]] bool of_a_day(Point point, std::int64_t time) const noexcept;

  [[nodiscard]] bool within_dates(std::int64_t time) const noexcept;
  [[nodiscard]] bool date_instant(std::int64_t time) const noexcept;

  template <class Consider>
  void each_moment(const oxcmdSchTime* times, const Day& day, Consider consider) const noexcept;
  template <class Consider>
  void each_moment_of_day(const Day& day, Consider consider) const noexcept;
  template <class Consider>
  void each_date(Consider consider) const noexcept;
  [[nodiscard]] bool days_are_one(std::uint32_t wanted) const noexcept;

  const Schedule& schedule_;
  const ZoneTable& zone_;
  // From a midnight to the end of the day's last time.
  std::int64_t longest_range_ = 86'400;
  std::int64_t longest_instant_ = 86'400;
};

}  // namespace ox
