// TimeTicks (RFC 2578, 7.1.8): hundredths of a second.
#include <cinttypes>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/text_result.h"

namespace {

using TicksText = ox::TextBuffer<struct TicksTextKind, 24>;

constexpr std::uint64_t ticks_limit = UINT32_MAX;

void print(std::uint32_t ticks, char (&text)[24]) noexcept {
  const std::uint32_t h = ticks / 360000;
  const std::uint32_t m = ticks / 6000 % 60;
  const std::uint32_t s = ticks / 100 % 60;
  const std::uint32_t c = ticks % 100;
  if (h != 0) {
    (void)std::snprintf(text, sizeof text, "%" PRIu32 ":%02" PRIu32 ":%02" PRIu32 ".%02" PRIu32, h, m, s, c);
  } else if (m != 0) {
    (void)std::snprintf(text, sizeof text, "%" PRIu32 ":%02" PRIu32 ".%02" PRIu32, m, s, c);
  } else {
    (void)std::snprintf(text, sizeof text, "%" PRIu32 ".%02" PRIu32, s, c);
  }
}

// Any number of digits; a value over the limit stays over it, and is small enough to be multiplied further.
bool take_number(const char*& text, std::uint64_t& number) noexcept {
  if (!ox::is_digit(*text)) return false;
  for (number = 0; ox::is_digit(*text); ++text) {
    if (number <= ticks_limit) number = number * 10 + ox::digit_value(*text);
  }
  return true;
}

// Exactly two digits.
bool take_pair(const char*& text, std::uint64_t below, std::uint64_t& number) noexcept {
  if (!ox::is_digit(text[0]) || !ox::is_digit(text[1])) return false;
  number = ox::digit_value(text[0]) * 10 + ox::digit_value(text[1]);
  text += 2;
  return number < below;
}

// The first field is open upwards, also where the printer would have carried it over ("90.00"). The hundredths must
// be there: "1:00" could be meant as hours and minutes.
OX_RESULT parse(const char* text, std::uint32_t& ticks) noexcept {
  std::uint64_t total = 0;  // in units of the last field read
  if (!take_number(text, total)) return OX_EFORMAT;
  for (int fields = 1; fields < 3 && *text == ':'; ++fields) {
    std::uint64_t sixtieths = 0;
    if (!take_pair(++text, 60, sixtieths)) return OX_EFORMAT;
    total = total * 60 + sixtieths;
  }
  std::uint64_t hundredths = 0;
  if (*text != '.' || !take_pair(++text, 100, hundredths) || *text != '\0') return OX_EFORMAT;
  total = total * 100 + hundredths;
  if (total > ticks_limit) return OX_ERANGE;
  ticks = static_cast<std::uint32_t>(total);
  return OX_OK;
}

}  // namespace

const char* OX_CALL oxcTticksToStr(uint32_t ticks) {
  OX_ENTRY("oxcTticksToStr", ":%" PRIu32, ticks);
  return ox::traced_text("oxcTticksToStr", [&] {
    char(&text)[24] = ox::context<TicksText>().text;
    print(ticks, text);
    return text;
  });
}

OX_RESULT OX_CALL oxcStrToTticks(const char* text, uint32_t* ticks) {
  OX_ENTRY("oxcStrToTticks", ":%s:%x", ox::trace::text(text), ox::trace::word(ticks));
  return ox::traced("oxcStrToTticks", [&]() -> OX_RESULT {
    if (text == nullptr || ticks == nullptr) return OX_EARG;
    return parse(text, *ticks);
  });
}
