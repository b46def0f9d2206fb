#include "manager/base/zone.h"

#include <limits>
#include <new>

namespace ox::manager {

Zone::Zone(const std::string& text) {
  oxcZone* zone = nullptr;
  OX_RESULT result = oxcZoneOpen(text.c_str(), &zone);
  read_ = result == OX_OK;
  if (result == OX_EFORMAT) result = oxcZoneOpen("", &zone);
  if (result == OX_EFORMAT) result = oxcZoneOpen("UTC0", &zone);
  if (result != OX_OK) throw std::bad_alloc();
  zone_.reset(zone);
}

std::uint32_t Zone::seconds(const oxcDate& date) const {
  std::uint32_t found = 0;
  if (oxcZoneToSeconds(get(), &date, &found) == OX_OK) return found;
  return date.year < 2000 ? 0 : std::numeric_limits<std::uint32_t>::max();
}

oxcDate Zone::date(std::uint32_t seconds) const {
  oxcDate date{};
  (void)oxcZoneToDate(get(), seconds, &date);
  return date;
}

std::string installation_zone() { return oxcGetTimeZone(); }

std::string zone_fault() {
  const std::string text = installation_zone();
  if (text.empty() || Zone(text).read()) return {};
  return "TimeZone " + text +
         " is no zone: neither a rule such as JST-9 or EST5EDT,M3.2.0,M11.1.0, nor a name that "
         "this system knows; times are the machine's";
}

}  // namespace ox::manager
