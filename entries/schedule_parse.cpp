// Schedule texts and what they are read into.
#include <string>

#include <oxbase/oxcmd.h>

#include "common/ascii.h"
#include "common/memory.h"
#include "common/trace.h"
#include "entries/schedule_text.h"

static_assert(sizeof(void*) != 4 || sizeof(oxcmdSchTime) == 20);

namespace ox {
namespace {

template <class Node>
struct ListDelete {
  void operator()(Node* list) const noexcept {
    while (list != nullptr) {
      Node* next = list->next;
      if constexpr (requires { list->times; }) ListDelete<oxcmdSchTime>{}(list->times);
      (void)oxcMemFree(list);
      list = next;
    }
  }
};
template <class Node>
using OwnedList = std::unique_ptr<Node, ListDelete<Node>>;

// A new last node of the list; null when memory runs out.
template <class Node>
Node* append(OwnedList<Node>& list, const char* tag) noexcept {
  Node* node = make_tracked<Node>(tag).release();
  Node* head = list.release();
  if (node != nullptr) (void)oxcQueueAdd(&head, node);
  list.reset(head);
  return node;
}

// ---- Lists of times ----

OX_RESULT read_time(const char* text, std::uint32_t& seconds) noexcept {
  constexpr std::size_t longest = 8;
  if (std::strlen(text) > longest) return OX_EARG;
  std::uint32_t total = 0;
  for (int fields = 1;; ++fields) {
    if (!is_digit(*text)) return OX_EFORMAT;
    std::uint32_t number = 0;
    for (; is_digit(*text); ++text) number = number * 10 + digit_value(*text);
    total = total * 60 + number;
    if (fields == 3) break;
    if (*text++ != ':') return OX_EFORMAT;
  }
  if (*text != '\0') return OX_EFORMAT;
  seconds = total;
  return OX_OK;
}

using ReadBound = OX_RESULT(OX_CALL*)(const char* text, std::uint32_t* seconds);

OX_RESULT read_bound(std::string_view text, ReadBound read, std::uint32_t& seconds) {
  return text.empty() ? OX_RESULT{OX_OK} : read(std::string(text).c_str(), &seconds);
}

OX_RESULT read_times(const char* text, ReadBound read, const char* tag, oxcmdSchTime** list) {
  if (list == nullptr) return OX_EARG;
  OwnedList<oxcmdSchTime> made;
  std::string_view rest = items_of(text);
  for (std::string_view item; take_item(rest, ',', item);) {
    std::string_view from = item;
    std::string_view to;
    (void)split_range(item, from, to);
    oxcmdSchTime* time = append(made, tag);
    if (time == nullptr) return OX_ENOMEM;
    OX_RESULT result = read_bound(from, read, time->start);
    if (result == OX_OK) result = read_bound(to, read, time->end);
    if (result != OX_OK) return result;
  }
  *list = made.release();
  return OX_OK;
}

// ---- Masks ----

template <class Mask>
OX_RESULT set_bit(std::int32_t value, std::int32_t first, std::int32_t last, Mask* mask) noexcept {
  if (mask == nullptr) return OX_EARG;
  if (value < first || value > last) return OX_EFORMAT;
  *mask = static_cast<Mask>(*mask | 1u << (value - first));
  return OX_OK;
}

template <class Mask>
OX_RESULT set_range(std::string_view item, OX_RESULT(OX_CALL* set)(std::int32_t, Mask*), Mask* mask) {
  std::string_view from = item;
  std::string_view to = item;
  (void)split_range(item, from, to);
  std::int32_t value = 0;
  std::int32_t last = 0;
  OX_RESULT result = oxcStrToLong(std::string(from).c_str(), 0, &value);
  if (result == OX_OK) result = oxcStrToLong(std::string(to).c_str(), 0, &last);
  for (; result == OX_OK && value <= last; ++value) result = set(value, mask);
  return result;
}

template <class Mask>
OX_RESULT read_mask(const char* text, OX_RESULT(OX_CALL* set)(std::int32_t, Mask*), Mask* mask) {
  if (mask == nullptr) return OX_EARG;
  std::string_view rest = items_of(text);
  for (std::string_view item; take_item(rest, ',', item);) {
    const OX_RESULT result = set_range(item, set, mask);
    if (result != OX_OK) return result;
  }
  return OX_OK;
}

// ---- The calendar ----

OX_RESULT read_year(const char* text, oxcmdCalender& item) noexcept {
  if (*text == '~') {
    item.flag = 0x80;
    ++text;
  }
  return oxcStrToUlong(text, 10, &item.year);
}

OX_RESULT read_item(char* text, oxcmdCalender& item) {
  char* parts[calender_parts] = {};
  std::uint32_t count = 0;
  OX_RESULT result = oxcToken(text, "/", parts, calender_parts, &count);
  if (result != OX_OK) return result;
  if (count == 0) return OX_EFORMAT;
  result = read_year(parts[0], item);
  if (result == OX_OK) result = oxcmdStrToMonth(parts[1], &item.months);
  if (result == OX_OK) result = oxcmdStrToMday(parts[2], &item.days);
  if (result == OX_OK) result = oxcmdStrToWday(parts[3], &item.weekdays);
  if (result == OX_OK) result = oxcmdStrToSchTime(parts[4], &item.times);
  return result;
}

OX_RESULT read_calender(const char* text, oxcmdCalender** list) {
  if (list == nullptr) return OX_EARG;
  OwnedList<oxcmdCalender> made;
  std::string_view rest = items_of(text);
  for (std::string_view item; take_item(rest, '|', item);) {
    oxcmdCalender* node = append(made, "oxcmdStrToCalender_001");
    if (node == nullptr) return OX_ENOMEM;
    const OX_RESULT result = read_item(std::string(item).data(), *node);
    if (result != OX_OK) return result;
  }
  *list = made.release();
  return OX_OK;
}

// ---- The whole ----

OX_RESULT read_field(std::uint32_t field, const char* text, Schedule& schedule) {
  switch (field) {
    case 1:
      return oxcmdStrToSchTime(text, &schedule.times);
    case 2:
      return oxcmdStrToWday(text, &schedule.weekdays);
    case 3:
      return oxcmdStrToMday(text, &schedule.days);
    case 4:
      return oxcmdStrToMonth(text, &schedule.months);
    case 5:
      return oxcmdStrToSchTimeYmdt(text, &schedule.dates);
    default:
      return oxcmdStrToCalender(text, &schedule.calender);
  }
}

template <class Delete, class Record>
OX_RESULT release(Record* record) noexcept {
  if (record != nullptr) Delete{}(record);
  return OX_OK;
}

}  // namespace

void ScheduleDelete::operator()(Schedule* schedule) const noexcept {
  ListDelete<oxcmdSchTime>{}(schedule->times);
  ListDelete<oxcmdSchTime>{}(schedule->dates);
  ListDelete<oxcmdCalender>{}(schedule->calender);
  (void)oxcMemFree(schedule);
}

OX_RESULT read_schedule(const char* text, OwnedSchedule& made, std::uint32_t& field) {
  field = 0;
  if (text == nullptr || *text == '\0') return OX_OK;
  const auto copy = copy_text(text, "CmdMakeSchedule_000");
  if (!copy) return OX_ENOMEM;
  char* fields[schedule_fields] = {};
  std::uint32_t count = 0;
  OX_RESULT result = oxcToken(copy.get(), nullptr, fields, schedule_fields, &count);
  if (result != OX_OK || count == 0) return result;
  OwnedSchedule schedule(make_tracked<Schedule>("CmdMakeSchedule_001").release());
  if (!schedule) return OX_ENOMEM;
  for (std::uint32_t i = 0; i < count && result == OX_OK; ++i) {
    result = read_field(i + 1, fields[i], *schedule);
    if (result != OX_OK) field = i + 1;
  }
  if (result == OX_OK) made = std::move(schedule);
  return result;
}

}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcmdStrToSchedule(const char* text, Schedule** schedule) {
  OX_ENTRY("oxcmdStrToSchedule", ":%s:%x", trace::text(text), trace::word(schedule));
  return traced("oxcmdStrToSchedule", [&] {
    OwnedSchedule made;
    std::uint32_t field = 0;
    const OX_RESULT result = read_schedule(text, made, field);
    if (result == OX_OK && schedule != nullptr) *schedule = made.release();
    return result;
  });
}

OX_RESULT OX_CALL oxcmdScheduleFree(Schedule* schedule) {
  OX_ENTRY("oxcmdScheduleFree", ":%x", trace::word(schedule));
  return traced("oxcmdScheduleFree", [&] { return release<ScheduleDelete>(schedule); });
}

OX_RESULT OX_CALL oxcmdStrToSchTime(const char* text, oxcmdSchTime** list) {
  OX_ENTRY("oxcmdStrToSchTime", ":%s:%x", trace::text(text), trace::word(list));
  return traced("oxcmdStrToSchTime", [&] { return read_times(text, oxcmdStrToTime, "oxcmdStrToSchTime_000", list); });
}

OX_RESULT OX_CALL oxcmdStrToSchTimeYmdt(const char* text, oxcmdSchTime** list) {
  OX_ENTRY("oxcmdStrToSchTimeYmdt", ":%s:%x", trace::text(text), trace::word(list));
  return traced("oxcmdStrToSchTimeYmdt",
                [&] { return read_times(text, oxcStrToUxTime, "oxcmdStrToSchTime_001", list); });
}

OX_RESULT OX_CALL oxcmdSchTimeFree(oxcmdSchTime* list) {
  OX_ENTRY("oxcmdSchTimeFree", ":%x", trace::word(list));
  return traced("oxcmdSchTimeFree", [&] { return release<ListDelete<oxcmdSchTime>>(list); });
}

OX_RESULT OX_CALL oxcmdStrToTime(const char* text, uint32_t* seconds) {
  OX_ENTRY("oxcmdStrToTime", ":%s:%x", trace::text(text), trace::word(seconds));
  return traced("oxcmdStrToTime", [&]() -> OX_RESULT {
    if (text == nullptr || seconds == nullptr) return OX_EARG;
    return read_time(text, *seconds);
  });
}

OX_RESULT OX_CALL oxcmdStrToWday(const char* text, uint8_t* mask) {
  OX_ENTRY("oxcmdStrToWday", ":%s:%x", trace::text(text), trace::word(mask));
  return traced("oxcmdStrToWday", [&] { return read_mask(text, oxcmdWdayMaskSet, mask); });
}

OX_RESULT OX_CALL oxcmdStrToMday(const char* text, uint32_t* mask) {
  OX_ENTRY("oxcmdStrToMday", ":%s:%x", trace::text(text), trace::word(mask));
  return traced("oxcmdStrToMday", [&] { return read_mask(text, oxcmdMdayMaskSet, mask); });
}

OX_RESULT OX_CALL oxcmdStrToMonth(const char* text, uint16_t* mask) {
  OX_ENTRY("oxcmdStrToMonth", ":%s:%x", trace::text(text), trace::word(mask));
  return traced("oxcmdStrToMonth", [&] { return read_mask(text, oxcmdMonthMaskSet, mask); });
}

OX_RESULT OX_CALL oxcmdWdayMaskSet(int32_t value, uint8_t* mask) {
  OX_ENTRY("oxcmdWdayMaskSet", ":%d:%x", value, trace::word(mask));
  return traced("oxcmdWdayMaskSet", [&] { return set_bit(value, 0, 6, mask); });
}

OX_RESULT OX_CALL oxcmdMdayMaskSet(int32_t value, uint32_t* mask) {
  OX_ENTRY("oxcmdMdayMaskSet", ":%d:%x", value, trace::word(mask));
  return traced("oxcmdMdayMaskSet", [&] { return set_bit(value, 1, 31, mask); });
}

OX_RESULT OX_CALL oxcmdMonthMaskSet(int32_t value, uint16_t* mask) {
  OX_ENTRY("oxcmdMonthMaskSet", ":%d:%x", value, trace::word(mask));
  return traced("oxcmdMonthMaskSet", [&] { return set_bit(value, 1, 12, mask); });
}

OX_RESULT OX_CALL oxcmdStrToCalender(const char* text, oxcmdCalender** list) {
  OX_ENTRY("oxcmdStrToCalender", ":%s:%x", trace::text(text), trace::word(list));
  return traced("oxcmdStrToCalender", [&] { return read_calender(text, list); });
}

OX_RESULT OX_CALL oxcmdCalenderFree(oxcmdCalender* list) {
  OX_ENTRY("oxcmdCalenderFree", ":%x", trace::word(list));
  return traced("oxcmdCalenderFree", [&] { return release<ListDelete<oxcmdCalender>>(list); });
}
