// What a schedule says: when things happen, why not, and what is doubtful in it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/moment.h"
#include "tools/rows.h"

namespace tool {

// When an entry's work is due: by its schedule, or without one from a start time on at an interval.
class Timetable {
 public:
  struct Plan {
    std::string schedule;
    std::uint32_t start = 0;     // nothing before
    std::uint32_t interval = 0;  // seconds; without a schedule 0 is once, with one: not inside its ranges
    bool armed = true;
  };
  // `zone` stays the caller's. Throws Failure for a schedule that does not read.
  Timetable(Plan plan, const oxcZone* zone);

  struct Moment {
    std::uint32_t time = 0;
    std::uint32_t kinds = 0;  // OXCMD_INSTANT and its like; 0: by the interval
  };
  [[nodiscard]] std::optional<Moment> next(std::uint32_t after) const;
  [[nodiscard]] std::optional<Moment> previous(std::uint32_t before) const;
  // Sentences on a moment: whether something is due or a range is open then, or what stands in the way.
  [[nodiscard]] std::vector<std::string> reasons(std::uint32_t at) const;

 private:
  [[nodiscard]] std::optional<Moment> scheduled(std::uint32_t after) const;
  [[nodiscard]] std::optional<Moment> inside_range(std::uint32_t after) const;
  [[nodiscard]] std::vector<std::string> schedule_reasons(std::uint32_t at) const;

  Plan plan_;
  const oxcZone* zone_;
  Owner<Schedule, oxcmdScheduleFree> schedule_;
};

// "runs", "opens", "closes"; two of them with "and".
[[nodiscard]] std::string kinds_text(std::uint32_t kinds);

// What is doubtful in a text, a line each; an error in it is a Failure that tells the field.
[[nodiscard]] std::vector<std::string> schedule_doubts(const std::string& text, const oxcZone* zone, std::uint32_t now);

}  // namespace tool
