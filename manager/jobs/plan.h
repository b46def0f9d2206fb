// When an entry has something to do.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <oxbase/oxcmd.h>

#include "manager/base/period.h"
#include "manager/base/zone.h"

namespace ox::manager {

// What happens at a moment, beside OXCMD_INSTANT, OXCMD_OPENS and OXCMD_CLOSES.
enum : std::uint32_t { due_interval = 8 };

// Without a schedule: at `start`, and then at the period's boundaries. With one: what it says from `start` on, where a
// range that is open then opens, and within its ranges the period's boundaries.
struct Plan {
  std::shared_ptr<const Schedule> schedule{};  // null: none
  bool inverted = false;                       // what lies in no range of it is open; its instants are nothing
  Period period{};
  bool from_opening = false;  // boundaries count from a range's opening, which is none of them; else from `start`. Not
                              // for an inverted one
  std::uint32_t start = 0;    // 0: no beginning
  const Zone* zone = nullptr;
};

// Null without a schedule. The errors of oxcmdStrToSchedule.
[[nodiscard]] OX_RESULT read_schedule(const std::string& text, std::shared_ptr<const Schedule>& schedule);

struct Moment {
  std::uint32_t time = 0;
  std::uint32_t kinds = 0;  // 0: nothing to do
};

// The first moment after `after`; nothing when none comes before 2106.
[[nodiscard]] std::optional<Moment> next_moment(const Plan& plan, std::uint32_t after);
// Whether a range is open at that time; one before the start is not. Without a schedule there is one from the start.
[[nodiscard]] bool is_open(const Plan& plan, std::uint32_t at);
// Of a boundary and those behind it, up to `until`: how many follow each other at the same distance (at least 1), and
// the last of them.
struct Boundaries {
  std::uint64_t count = 1;
  std::uint32_t last = 0;
};
[[nodiscard]] Boundaries run_of_boundaries(const Plan& plan, std::uint32_t boundary, std::uint32_t until);

}  // namespace ox::manager
