// Local calendar times: "2009/09/03.10:20:30".
#include <array>
#include <chrono>
#include <cinttypes>
#include <cstring>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/text_result.h"
#include "platform/clock.h"

namespace {

using TimeText = ox::TextBuffer<struct TimeTextKind, 40>;

struct NamedTime {
  const char* name;
  std::uint32_t seconds;
};
// Fixed for good: records hold these numbers and are compared with them. A data entry that is still open ends in the
// future; "present" cannot be told from an absent bound where 0 means that.
constexpr NamedTime named_times[] = {{"past", 662655600}, {"present", 0}, {"future", 2145916800}};

// Numbers of one to four digits, parted by `separator`.
struct Numbers {
  std::array<int, 3> value{};
  std::size_t count = 0;
};

// Reads as many as there are, at most three; the text comes to stand behind them.
bool take_numbers(const char*& text, char separator, Numbers& numbers) noexcept {
  constexpr int longest = 4;
  for (;;) {
    if (numbers.count == numbers.value.size() || !ox::is_digit(*text)) return false;
    int number = 0;
    int digits = 0;
    for (; ox::is_digit(*text); ++text) {
      if (++digits > longest) return false;
      number = number * 10 + static_cast<int>(ox::digit_value(*text));
    }
    numbers.value[numbers.count++] = number;
    if (*text != separator) return true;
    ++text;
  }
}

bool is_date(const char* text) noexcept { return text[std::strspn(text, "0123456789")] == '/'; }

// "[year/]month/day" over the fields of today.
bool take_date(const char*& text, std::tm& time) noexcept {
  Numbers date;
  if (!take_numbers(text, '/', date) || date.count < 2) return false;
  if (date.count == 3) time.tm_year = date.value[0] - 1900;
  time.tm_mon = date.value[date.count - 2] - 1;
  time.tm_mday = date.value[date.count - 1];
  return true;
}

// "hour[:minute[:second]]"; the hour alone only where a "." says that it is one.
bool take_clock(const char*& text, std::size_t fewest, std::tm& time) noexcept {
  Numbers clock;
  if (!take_numbers(text, ':', clock) || clock.count < fewest) return false;
  time.tm_hour = clock.value[0];
  time.tm_min = clock.value[1];
  time.tm_sec = clock.value[2];
  return true;
}

bool in_calendar(const std::tm& time) noexcept {
  const std::chrono::year_month_day date{std::chrono::year(time.tm_year + 1900),
                                         std::chrono::month(static_cast<unsigned>(time.tm_mon + 1)),
                                         std::chrono::day(static_cast<unsigned>(time.tm_mday))};
  return date.ok() && time.tm_hour < 24 && time.tm_min < 60 && time.tm_sec < 60;
}

bool today(std::tm& time) noexcept {
  using std::chrono::system_clock;
  const auto now = std::chrono::floor<std::chrono::seconds>(system_clock::now()).time_since_epoch().count();
  if (!ox::platform::local_time(static_cast<std::uint32_t>(now), time)) return false;
  time.tm_hour = time.tm_min = time.tm_sec = 0;
  return true;
}

// [[Y/]M/D][.h[:m[:s]]] or h:m[:s]
bool parse_fields(const char* text, std::tm& time) noexcept {
  const bool dated = is_date(text);
  if (dated && !take_date(text, time)) return false;
  if (*text == '.') {
    if (!take_clock(++text, 1, time)) return false;
  } else if (!dated && !take_clock(text, 2, time)) {
    return false;
  }
  return *text == '\0' && in_calendar(time);
}

OX_RESULT parse(const char* text, std::uint32_t& seconds) noexcept {
  for (const NamedTime& named : named_times) {
    if (std::strcmp(text, named.name) == 0) {
      seconds = named.seconds;
      return OX_OK;
    }
  }
  std::tm time{};
  std::int64_t value = 0;
  if (!today(time) || !parse_fields(text, time)) return OX_EFORMAT;
  if (!ox::platform::make_local_time(time, value) || value < 0 || value > UINT32_MAX) return OX_EFORMAT;
  seconds = static_cast<std::uint32_t>(value);
  return OX_OK;
}

void print(const std::tm& time, char (&text)[40]) noexcept {
  const bool last_century = time.tm_year < 100;
  (void)std::snprintf(text, sizeof text, "%s%d/%02d/%02d.%02d:%02d:%02d", last_century ? "19" : "",
                      last_century ? time.tm_year : time.tm_year + 1900, time.tm_mon + 1, time.tm_mday, time.tm_hour,
                      time.tm_min, time.tm_sec);
}

}  // namespace

const char* OX_CALL oxcUxTimeToStr(uint32_t seconds) {
  OX_ENTRY("oxcUxTimeToStr", ":%" PRIu32, seconds);
  return ox::traced_text("oxcUxTimeToStr", [&]() -> const char* {
    std::tm time{};
    if (!ox::platform::local_time(seconds, time)) return nullptr;
    char(&text)[40] = ox::context<TimeText>().text;
    print(time, text);
    return text;
  });
}

OX_RESULT OX_CALL oxcStrToUxTime(const char* text, uint32_t* seconds) {
  OX_ENTRY("oxcStrToUxTime", ":%s:%x", ox::trace::text(text), ox::trace::word(seconds));
  return ox::traced("oxcStrToUxTime", [&]() -> OX_RESULT {
    if (text == nullptr || seconds == nullptr) return OX_EARG;
    return parse(text, *seconds);
  });
}
