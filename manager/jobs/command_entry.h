// The attributes of a command entry, and what they ask for.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/attributes.h"
#include "manager/base/programs.h"
#include "manager/base/zone.h"
#include "manager/components/number_value.h"
#include "manager/components/store.h"
#include "manager/jobs/plan.h"

namespace ox::manager {

struct CommandEntry {
  std::string command{};
  std::string argument{};
  std::uint32_t start_time = 0;
  std::uint32_t interval = 0;
  bool armed = false;
  std::uint32_t mode = 2;
  std::string schedule{};
  std::string invalid_command{};
  std::string invalid_argument{};

  // Whether both are due at the same times.
  [[nodiscard]] bool same_times(const CommandEntry& other) const {
    return armed == other.armed && schedule == other.schedule && start_time == other.start_time &&
           interval == other.interval;
  }
};

[[nodiscard]] CommandEntry command_entry(const Values& values);
[[nodiscard]] std::uint32_t number_of(const Values& values, CommandAttribute attribute);
// Whether a client may set that: 0; 70 for what is no schedule, and a state other than 0 and 1.
[[nodiscard]] OX_RESULT check_command(const Change& change);

// The errors of its schedule.
[[nodiscard]] OX_RESULT plan_of(const CommandEntry& entry, const Zone& zone, Plan& plan);
// Whether a schedule has ranges, which open and close.
[[nodiscard]] bool has_ranges(const Plan& plan);

// The file of a program, which must stand in one of the folders; `why` says why it is none that may be run, and what to
// do. "oxset.exe" is "oxset", too, and the other way round.
[[nodiscard]] std::string find_command(const std::string& command, const std::string& folders, std::string& why);
// What a program has printed, of which the beginning may have been dropped in the middle of a character.
[[nodiscard]] std::string whole_output(std::string_view kept);
// What is started: without a shell, without input, in the work folder. The words of the argument are the library's
// tokens, where a system has no way of its own to take them apart. The errors of oxcToken.
[[nodiscard]] OX_RESULT command_order(const std::string& program, const std::string& argument,
                                      std::vector<std::string> variables, Programs::Order& order);

}  // namespace ox::manager
