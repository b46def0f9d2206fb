// A rule's schedule: a command entry of the rule's name, which sets the rule's request when the schedule opens and
// closes.
#include <ctime>

#include <oxbase/oxcmd.h>

#include "data/value_texts.h"
#include "entries/rule/rule.h"

namespace ox::entries {
namespace {

constexpr char command_type[] = "cmdEnt";
constexpr char always[] = "* * * * *";
constexpr char waiting_error[] = "379";
static_assert(OX_ERULESCHEDULE == 379);
constexpr char command[] = "oxset.exe";

struct CommandDelete {
  void operator()(cmdEntry* list) const noexcept { (void)oxcmdEntryFree(list); }
};
using command_ptr = std::unique_ptr<cmdEntry, CommandDelete>;
struct ScheduleDelete {
  void operator()(Schedule* schedule) const noexcept { (void)oxcmdScheduleFree(schedule); }
};
struct ZoneDelete {
  void operator()(oxcZone* zone) const noexcept { (void)oxcZoneFree(zone); }
};

// 122 for a rule without one.
OX_RESULT read_schedule(const char* name, std::string& schedule) {
  dnode_ptr answer;
  const char* text = nullptr;
  OX_RESULT result = get(nullptr, {rule_type, name}, rule_schedule_path, 0, 0, answer);
  if (result == OX_OK) result = data::display_text(*answer, text);
  if (result == OX_OK) schedule = text;
  return result == OX_ENOVALUE ? OX_RESULT{OX_ENOTFOUND} : result;
}

OX_RESULT look_for_command(const char* name, bool& exists) {
  dnode_ptr answer;
  const OX_RESULT result = get(nullptr, {command_type, name}, "obj.cmn.cmnName.0", 0, 0, answer);
  exists = result == OX_OK;
  const bool none = result == OX_ECOMPNAME || result == OX_ENOCOMP || result == OX_ENOTYPE || result == OX_ENOTFOUND;
  return none ? OX_RESULT{OX_OK} : result;
}

OX_RESULT check_command_daemon() {
  constexpr std::uint32_t commands = 3;
  std::uint32_t running = 0;
  const OX_RESULT result = oxcIsServiceRunning(commands, &running);
  return result == OX_OK && running == 0 ? OX_RESULT{OX_ENOTSTARTED} : result;
}

OX_RESULT holds_now(const std::string& text, bool& holds) {
  Schedule* made = nullptr;
  if (const OX_RESULT result = oxcmdStrToSchedule(text.c_str(), &made)) return result;
  const std::unique_ptr<Schedule, ScheduleDelete> schedule(made);
  oxcZone* opened = nullptr;
  if (const OX_RESULT result = oxcZoneOpen(oxcGetTimeZone(), &opened)) return result;
  const std::unique_ptr<oxcZone, ZoneDelete> zone(opened);
  std::uint32_t inside = 1;
  const auto now = static_cast<std::uint32_t>(std::time(nullptr));
  if (schedule) (void)oxcmdScheduleInside(schedule.get(), zone.get(), now, &inside, nullptr, nullptr);
  holds = inside != 0;
  return OX_OK;
}

OX_RESULT fill_command(const char* name, const std::string& schedule, cmdEntry* record) {
  constexpr std::uint32_t one_at_a_time = 2;
  const std::string request = std::string("-nopass ruleEnt:") + name + " 11.13.10.0 ";
  OX_RESULT result = oxcmdCmdEntSetCmdEntryName(record, name);
  if (result == OX_OK) result = oxcmdCmdEntSetCmdName(record, command);
  if (result == OX_OK) result = oxcmdCmdEntSetArgument(record, (request + '1').c_str());
  if (result == OX_OK) result = oxcmdCmdEntSetInvalidCmdName(record, command);
  if (result == OX_OK) result = oxcmdCmdEntSetInvalidCmdArg(record, (request + '0').c_str());
  if (result == OX_OK) result = oxcmdCmdEntSetSchedule(record, schedule.c_str());
  if (result == OX_OK) result = oxcmdCmdEntSetMode(record, one_at_a_time);
  if (result == OX_OK) result = oxcmdCmdEntSetAdminStatus(record, 1);
  return result;
}

OX_RESULT write_command(const char* name, const std::string& schedule, bool exists) {
  const command_ptr record(oxcmdEntryAlloc());
  OX_RESULT result = record ? fill_command(name, schedule, record.get()) : OX_RESULT{OX_ENOMEM};
  if (result != OX_OK) return result;
  if (exists) {
    result = oxcmdSet(nullptr, record.get(), nullptr);
    std::uint32_t own = OX_OK;
    if (result == OX_ENODES && oxcmdCmdEntGetError(record.get(), &own) == OX_OK && own != OX_OK) return own;
    return result;
  }
  cmdEntry* made = nullptr;
  result = oxcmdCreateNewCmdEntry(nullptr, record.get(), &made);
  (void)oxcmdEntryFree(made);
  return result;
}

OX_RESULT arm(const char* name, const std::string& schedule, bool exists) {
  bool holds = false;
  OX_RESULT result = check_command_daemon();
  if (result == OX_OK) result = holds_now(schedule, holds);
  if (result == OX_OK && !holds) {
    result = write_rule(nullptr, name, rule_error_path, waiting_error);
    if (result == OX_OK) result = write_rule(nullptr, name, rule_oper_path, std::to_string(rule_waiting).c_str());
  }
  return result != OX_OK ? result : write_command(name, schedule, exists);
}

// Nothing is armed: the rule may run at all times.
OX_RESULT let_run(const char* name, bool is_start, bool exists) {
  const OX_RESULT result = exists ? oxcmdDeleteCmdEntry(nullptr, name) : OX_RESULT{OX_OK};
  return result == OX_OK && is_start ? write_rule(nullptr, name, rule_admin_path, "1") : result;
}

OX_RESULT make(const char* name, std::uint32_t action, std::uint32_t* armed) {
  if (name == nullptr || armed == nullptr) return OX_EARG;
  if (const OX_RESULT result = check_name(name)) return result;
  const bool is_start = action == 1;
  std::string schedule;
  OX_RESULT result = read_schedule(name, schedule);
  if (result == OX_ENOTFOUND) return *armed = 0, OX_OK;
  OX_TRACE(trace::rules, "<X:oxrMakeSchedule[lpszSchedule=%s]>\n", schedule.c_str());
  bool exists = false;
  if (result == OX_OK) result = look_for_command(name, exists);
  if (result != OX_OK) return result;
  const bool limited = !schedule.empty() && schedule != always;
  if (!limited) {
    result = let_run(name, is_start, exists);
  } else if (is_start) {
    result = arm(name, schedule, exists);
  } else if (exists) {
    result = oxcmdSetAdminStatus(nullptr, name, 0);
  }
  if (result == OX_OK) *armed = limited && (is_start || exists) ? 1 : 0;
  return result;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxrMakeSchedule(const char* name, uint32_t action, uint32_t* armed) {
  OX_RULE_START("oxrMakeSchedule", "%s,%ld,%lx", trace::text(name), trace::number(action),
                static_cast<unsigned long>(trace::word(armed)));
  return OX_RULE_CALL("oxrMakeSchedule", [&] { return make(name, action, armed); });
}
