// Schedule texts: whatever is accepted can be asked, and the answers agree with each other.
#include <oxbase/oxcmd.h>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

constexpr std::uint32_t moment = 1'730'613'599;  // a second before the clocks are set back

const oxcZone* zone() {
  static const oxcZone* made = [] {
    oxcZone* zone = nullptr;
    expect(oxcZoneOpen("EST5EDT", &zone) == OX_OK);
    return zone;
  }();
  return made;
}

void check(const Schedule* schedule) {
  std::uint32_t inside = 0;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  std::uint32_t fields = 0;
  expect(oxcmdScheduleInside(schedule, zone(), moment, &inside, &begin, &end) == OX_OK);
  expect(oxcmdScheduleRefusal(schedule, zone(), moment, &fields) == OX_OK);
  expect(inside == 0 || (begin <= moment && moment < end && fields == 0));
  std::uint32_t time = 0;
  std::uint32_t kinds = 0;
  if (oxcmdScheduleNext(schedule, zone(), moment, &time, &kinds) != OX_OK) return;
  expect(time > moment && kinds != 0 && (inside == 0 || time <= end));
  std::uint32_t back = 0;
  const OX_RESULT result = oxcmdSchedulePrev(schedule, zone(), time, &back, nullptr);
  expect(result == OX_ENOTFOUND || (result == OX_OK && back <= moment));
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const std::string text(input);
  Schedule* schedule = nullptr;
  const OX_RESULT result = oxcmdStrToSchedule(text.c_str(), &schedule);
  const auto ignore = [](void*, std::uint32_t doubt, std::uint32_t field, const char* item) {
    expect(doubt != 0 && field <= 6 && item != nullptr);
  };
  expect(oxcmdScheduleCheck(text.c_str(), zone(), moment, ignore, nullptr, nullptr) == result);
  if (schedule != nullptr) check(schedule);
  oxcmdScheduleFree(schedule);
}
