#include "manager/jobs/log_entry.h"

#include "manager/base/selection.h"
#include "manager/components/number_value.h"

namespace ox::manager {
namespace {

std::string text_of(const Value& value) {
  if (value.type != OX_DISPLAYSTRING || value.bytes.empty()) return {};
  return value.bytes.substr(0, value.bytes.size() - 1);
}

const Value* find(const Values& values, LogAttribute attribute) {
  const auto found = values.find(log_path(attribute));
  return found == values.end() ? nullptr : &found->second;
}

OX_RESULT read_period(const std::string& text, Period& period) {
  if (text.empty()) return OX_EMISSING;
  const auto read = parse_period(text);
  if (!read) return OX_EFORMAT;
  period = *read;
  return OX_OK;
}

}  // namespace

Plan LogEntrySettings::plan(const Zone& zone) const {
  return {.schedule = schedule, .inverted = inverted, .period = interval, .start = start, .zone = &zone};
}

std::string log_text(const Values& values, LogAttribute attribute) {
  const Value* const value = find(values, attribute);
  return value == nullptr ? std::string() : text_of(*value);
}

std::uint32_t log_number(const Values& values, LogAttribute attribute) { return number_of(find(values, attribute)); }

OX_RESULT read_log_entry(const Values& values, LogEntrySettings& settings) {
  settings.title = log_text(values, LogAttribute::title);
  settings.key = log_text(values, LogAttribute::key);
  settings.component = log_text(values, LogAttribute::component);
  settings.names = log_text(values, LogAttribute::names);
  settings.start = log_number(values, LogAttribute::start);
  settings.interval_text = log_text(values, LogAttribute::interval);
  settings.rotate_text = log_text(values, LogAttribute::rotate);
  settings.schedule_text = log_text(values, LogAttribute::schedule);
  settings.inverted = log_number(values, LogAttribute::schedule_type) == 1;
  settings.status = static_cast<LogStatus>(log_number(values, LogAttribute::status));
  OX_RESULT worst = settings.component.empty() || settings.names.empty() ? OX_RESULT{OX_EMISSING} : OX_RESULT{OX_OK};
  for (const OX_RESULT result :
       {read_period(settings.interval_text, settings.interval), read_period(settings.rotate_text, settings.rotate),
        read_period(log_text(values, LogAttribute::expire), settings.expire)}) {
    if (worst == OX_OK) worst = result;
  }
  if (worst != OX_OK) return worst;
  std::vector<Selection> selections;
  if (select(settings.names, selections) != OX_OK) return OX_EFORMAT;
  return settings.schedule_text.empty() || settings.schedule_text == "-"
             ? OX_RESULT{OX_OK}
             : read_schedule(settings.schedule_text, settings.schedule);
}

OX_RESULT check_log_value(LogAttribute attribute, const Value& value) {
  switch (attribute) {
    case LogAttribute::interval:
    case LogAttribute::rotate:
    case LogAttribute::expire: {
      const std::string text = text_of(value);
      return text.empty() || parse_period(text) ? OX_RESULT{OX_OK} : OX_RESULT{OX_EFORMAT};
    }
    case LogAttribute::schedule: {
      std::shared_ptr<const Schedule> read;
      return read_schedule(text_of(value), read);
    }
    case LogAttribute::status:
      return number_of(&value) >= 2 && number_of(&value) <= 4 ? OX_RESULT{OX_OK} : OX_RESULT{OX_ERANGE};
    default:
      return OX_OK;
  }
}

Change number_change(const ComponentName& component, const Oid& path, std::uint32_t number, std::uint32_t type) {
  return {.kind = Change::Kind::set, .component = component, .path = path, .value = number_value(number, type)};
}

Change text_change(const ComponentName& component, const Oid& path, const std::string& text) {
  return {.kind = Change::Kind::set,
          .component = component,
          .path = path,
          .value = {OX_DISPLAYSTRING, std::string(text.c_str(), text.size() + 1)}};
}

}  // namespace ox::manager
