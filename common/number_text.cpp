#include "common/number_text.h"

#include <cinttypes>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/text_result.h"

namespace ox {
namespace {

struct Digits {
  std::uint64_t value = 0;
  bool any = false;
  bool overflow = false;
  const char* end = nullptr;
};

bool known_base(std::uint32_t base) noexcept { return base == 0 || (base >= 2 && base <= 36); }

// Steps over the prefix that base 0 or 16 allows and gives the base that holds from there.
std::uint32_t take_prefix(const char*& text, std::uint32_t base) noexcept {
  const bool hexadecimal = text[0] == '0' && lower(text[1]) == 'x' && digit_value(text[2]) < 16;
  if (hexadecimal && (base == 0 || base == 16)) {
    text += 2;
    return 16;
  }
  if (base != 0) return base;
  return text[0] == '0' ? 8 : 10;
}

Digits read_digits(const char* text, std::uint32_t base) noexcept {
  Digits digits;
  base = take_prefix(text, base);
  for (unsigned digit; (digit = digit_value(*text)) < base; ++text) {
    digits.any = true;
    if (__builtin_mul_overflow(digits.value, base, &digits.value)) digits.overflow = true;
    if (__builtin_add_overflow(digits.value, digit, &digits.value)) digits.overflow = true;
  }
  digits.end = text;
  return digits;
}

}  // namespace

OX_RESULT parse_unsigned(const char* text, std::uint32_t base, std::uint64_t maximum, std::uint64_t& value) noexcept {
  if (!known_base(base)) return OX_EARG;
  const Digits digits = read_digits(text, base);
  const char* end = digits.end;
  if (lower(*end) == 'u') ++end;
  if (!digits.any || *end != '\0') return OX_EFORMAT;
  if (digits.overflow || digits.value > maximum) return OX_ERANGE;
  value = digits.value;
  return OX_OK;
}

OX_RESULT parse_signed(const char* text, std::uint32_t base, std::int32_t& value) noexcept {
  if (!known_base(base)) return OX_EARG;
  const bool negative = *text == '-';
  if (negative || *text == '+') ++text;
  const Digits digits = read_digits(text, base);
  if (!digits.any || *digits.end != '\0') return OX_EFORMAT;
  const std::uint64_t limit = negative ? 0x80000000U : 0x7FFFFFFFU;
  if (digits.overflow || digits.value > limit) return OX_ERANGE;
  const auto magnitude = static_cast<std::int64_t>(digits.value);
  value = static_cast<std::int32_t>(negative ? -magnitude : magnitude);
  return OX_OK;
}

namespace {

template <class Integer>
OX_RESULT parse_to(const char* text, std::uint32_t base, Integer* value) noexcept {
  if (text == nullptr || value == nullptr) return OX_EARG;
  std::uint64_t number = 0;
  const OX_RESULT result = parse_unsigned(text, base, static_cast<Integer>(-1), number);
  if (result == OX_OK) *value = static_cast<Integer>(number);
  return result;
}

using SignedText = TextBuffer<struct SignedTextKind, 12>;
using UnsignedText = TextBuffer<struct UnsignedTextKind, 12>;
using LongUnsignedText = TextBuffer<struct LongUnsignedTextKind, 24>;

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcStrToLong(const char* text, uint32_t base, int32_t* value) {
  OX_ENTRY("oxcStrToLong", ":%s:%u:%x", ox::trace::text(text), base, ox::trace::word(value));
  return ox::traced("oxcStrToLong", [&]() -> OX_RESULT {
    if (text == nullptr || value == nullptr) return OX_EARG;
    return ox::parse_signed(text, base, *value);
  });
}

OX_RESULT OX_CALL oxcStrToUlong(const char* text, uint32_t base, uint32_t* value) {
  OX_ENTRY("oxcStrToUlong", ":%s:%u:%x", ox::trace::text(text), base, ox::trace::word(value));
  return ox::traced("oxcStrToUlong", [&] { return ox::parse_to(text, base, value); });
}

OX_RESULT OX_CALL oxcStrToUlonglong(const char* text, uint32_t base, uint64_t* value) {
  OX_ENTRY("oxcStrToUlonglong", ":%s:%u:%x", ox::trace::text(text), base, ox::trace::word(value));
  return ox::traced("oxcStrToUlonglong", [&] { return ox::parse_to(text, base, value); });
}

const char* OX_CALL oxcLongToStr(int32_t value) {
  OX_ENTRY("oxcLongToStr", ":%" PRId32, value);
  return ox::traced_text("oxcLongToStr", [&] {
    char(&text)[12] = ox::context<ox::SignedText>().text;
    (void)std::snprintf(text, sizeof text, "%" PRId32, value);
    return text;
  });
}

const char* OX_CALL oxcUlongToStr(uint32_t value) {
  OX_ENTRY("oxcUlongToStr", ":%" PRIu32, value);
  return ox::traced_text("oxcUlongToStr", [&] {
    char(&text)[12] = ox::context<ox::UnsignedText>().text;
    (void)std::snprintf(text, sizeof text, "%" PRIu32, value);
    return text;
  });
}

const char* OX_CALL oxcUlonglongToStr(uint64_t value) {
  OX_ENTRY("oxcUlonglongToStr", ":%" PRIu64, value);
  return ox::traced_text("oxcUlonglongToStr", [&] {
    char(&text)[24] = ox::context<ox::LongUnsignedText>().text;
    (void)std::snprintf(text, sizeof text, "%" PRIu64, value);
    return text;
  });
}
