// The exported questions to a schedule.
#include <oxbase/oxcmd.h>

#include "common/trace.h"
#include "entries/schedule_meaning.h"

namespace ox {
namespace {

constexpr std::uint32_t every_kind = OXCMD_INSTANT | OXCMD_OPENS | OXCMD_CLOSES;

using Search = bool (ScheduleMeaning::*)(std::uint32_t, std::int64_t, std::int64_t&) const noexcept;

OX_RESULT search(Search direction, const Schedule* schedule, const oxcZone* zone, std::uint32_t from,
                 std::uint32_t* time, std::uint32_t* kinds) noexcept {
  if (schedule == nullptr || zone == nullptr) return OX_EARG;
  const ScheduleMeaning meaning(*schedule, zone->table);
  std::int64_t found = 0;
  if (!(meaning.*direction)(every_kind, from, found)) return OX_ENOTFOUND;
  if (time != nullptr) *time = static_cast<std::uint32_t>(found);
  if (kinds != nullptr) *kinds = meaning.kinds(found, every_kind);
  return OX_OK;
}

OX_RESULT inside(const Schedule* schedule, const oxcZone* zone, std::uint32_t at, std::uint32_t* in,
                 std::uint32_t* begin, std::uint32_t* end) noexcept {
  if (schedule == nullptr || zone == nullptr || in == nullptr) return OX_EARG;
  const ScheduleMeaning meaning(*schedule, zone->table);
  *in = meaning.inside(at) ? 1 : 0;
  if (*in == 0) return OX_OK;
  std::int64_t bound = 0;
  if (begin != nullptr) {
    *begin = meaning.previous(OXCMD_OPENS, std::int64_t{at} + 1, bound) ? static_cast<std::uint32_t>(bound) : 0;
  }
  if (end != nullptr) {
    *end = meaning.next(OXCMD_CLOSES, at, bound) ? static_cast<std::uint32_t>(bound) : UINT32_MAX;
  }
  return OX_OK;
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcmdScheduleNext(const Schedule* schedule, const oxcZone* zone, uint32_t after, uint32_t* time,
                                    uint32_t* kinds) {
  OX_ENTRY("oxcmdScheduleNext", ":%x:%x:%u", trace::word(schedule), trace::word(zone), after);
  return traced("oxcmdScheduleNext",
                [&] { return search(&ScheduleMeaning::next, schedule, zone, after, time, kinds); });
}

OX_RESULT OX_CALL oxcmdSchedulePrev(const Schedule* schedule, const oxcZone* zone, uint32_t before, uint32_t* time,
                                    uint32_t* kinds) {
  OX_ENTRY("oxcmdSchedulePrev", ":%x:%x:%u", trace::word(schedule), trace::word(zone), before);
  return traced("oxcmdSchedulePrev",
                [&] { return search(&ScheduleMeaning::previous, schedule, zone, before, time, kinds); });
}

OX_RESULT OX_CALL oxcmdScheduleInside(const Schedule* schedule, const oxcZone* zone, uint32_t at, uint32_t* in,
                                      uint32_t* begin, uint32_t* end) {
  OX_ENTRY("oxcmdScheduleInside", ":%x:%x:%u", trace::word(schedule), trace::word(zone), at);
  return traced("oxcmdScheduleInside", [&] { return inside(schedule, zone, at, in, begin, end); });
}

OX_RESULT OX_CALL oxcmdScheduleRefusal(const Schedule* schedule, const oxcZone* zone, uint32_t at, uint32_t* fields) {
  OX_ENTRY("oxcmdScheduleRefusal", ":%x:%x:%u", trace::word(schedule), trace::word(zone), at);
  return traced("oxcmdScheduleRefusal", [&]() -> OX_RESULT {
    if (schedule == nullptr || zone == nullptr || fields == nullptr) return OX_EARG;
    *fields = ScheduleMeaning(*schedule, zone->table).refusal(at);
    return OX_OK;
  });
}
