// The settings of a log entry, as its attributes say.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <oxbase/oxcmd.h>

#include "manager/base/attributes.h"
#include "manager/base/period.h"
#include "manager/components/store.h"
#include "manager/jobs/plan.h"

namespace ox::manager {

enum class LogStatus : std::uint32_t { none = 0, running = 2, stopped = 3, filled_from_outside = 4 };

struct LogEntrySettings {
  std::string title{};
  std::string key{};
  std::string component{};  // "type:name" or a node's name, which may be patterns
  std::string names{};
  std::uint32_t start = 0;
  std::string interval_text{};
  std::string rotate_text{};
  Period interval{};
  Period rotate{};
  Period expire{};
  std::string schedule_text{};
  std::shared_ptr<const Schedule> schedule{};
  bool inverted = false;  // it says when nothing is collected
  LogStatus status = LogStatus::none;

  [[nodiscard]] Plan plan(const Zone& zone) const;
};

// The attribute as it is stored; nothing of another form.
[[nodiscard]] std::string log_text(const Values& values, LogAttribute attribute);
[[nodiscard]] std::uint32_t log_number(const Values& values, LogAttribute attribute);

// 0; 195 when what is needed is empty, 70 when it cannot be read, and what reading the schedule gives. The periods are
// read all the same: what is filled from outside needs no more.
[[nodiscard]] OX_RESULT read_log_entry(const Values& values, LogEntrySettings& settings);

// Whether a client may set that.
[[nodiscard]] OX_RESULT check_log_value(LogAttribute attribute, const Value& value);

[[nodiscard]] Change number_change(const ComponentName& component, const Oid& path, std::uint32_t number,
                                   std::uint32_t type);
[[nodiscard]] Change text_change(const ComponentName& component, const Oid& path, const std::string& text);

}  // namespace ox::manager
