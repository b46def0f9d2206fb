#include "platform/clock.h"

#include <cstdlib>
#include <string_view>

namespace ox::platform {

static_assert(sizeof(std::time_t) >= sizeof(std::int64_t), "times after 2038 need a wide time_t");

bool local_time(std::uint32_t seconds, std::tm& time) noexcept {
  const std::time_t value = seconds;
  return localtime_r(&value, &time) != nullptr;
}

bool make_local_time(std::tm time, std::int64_t& seconds) noexcept {
  time.tm_isdst = -1;
  time.tm_wday = -1;  // filled in by a conversion that works: -1 is also the time just before 1970
  const std::time_t value = std::mktime(&time);
  if (value == -1 && time.tm_wday == -1) return false;
  seconds = value;
  return true;
}

std::string zone_file(const char* name) {
  const std::string_view text(name);
  if (text.empty() || text.front() == '/' || text.find("..") != std::string_view::npos) return {};
  const char* folder = std::getenv("TZDIR");
  return (folder != nullptr ? std::string(folder) : "/usr/share/zoneinfo") + "/" + name;
}

}  // namespace ox::platform
