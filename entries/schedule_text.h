// The items of a schedule's fields, and reading the whole.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include <oxbase/oxcmd.h>

namespace ox {

inline constexpr std::uint32_t schedule_fields = 6;
inline constexpr std::uint32_t calender_parts = 6;

// The next item of a list; false at its end, which an empty item is, too. `rest` comes to stand behind its separator.
inline bool take_item(std::string_view& rest, char separator, std::string_view& item) noexcept {
  const std::size_t size = std::min(rest.find(separator), rest.size());
  item = rest.substr(0, size);
  rest.remove_prefix(std::min(size + 1, rest.size()));
  return !item.empty();
}

// The two sides of "a-b"; false for an item without "-".
inline bool split_range(std::string_view item, std::string_view& from, std::string_view& to) noexcept {
  const std::size_t bar = item.find('-');
  if (bar == std::string_view::npos) return false;
  from = item.substr(0, bar);
  to = item.substr(bar + 1);
  return true;
}

// The items of a list's text; none for a text that restricts nothing.
inline std::string_view items_of(const char* text) noexcept {
  return text == nullptr || std::strcmp(text, "*") == 0 ? std::string_view() : text;
}

struct ScheduleDelete {
  void operator()(Schedule* schedule) const noexcept;
};
using OwnedSchedule = std::unique_ptr<Schedule, ScheduleDelete>;

// As oxcmdStrToSchedule; `made` stays null for a text without fields. `field` is the number of the field that failed,
// from 1, and 0 where none did.
[[nodiscard]] OX_RESULT read_schedule(const char* text, OwnedSchedule& made, std::uint32_t& field);

}  // namespace ox
