// Text to value.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/addresses.h"
#include "data/value_conversions.h"

namespace ox::data {
namespace {

// A text that common/ knows how to read, then stored as oxdSetValue stores the number.
template <class Number, class Read>
OX_RESULT parse_number(std::uint32_t type, ParsedValue& value, Read read) {
  Number number{};
  if (const OX_RESULT result = read(&number); result != OX_OK) return result;
  return make_value(type, static_cast<std::uint32_t>(number), 0, value);
}

OX_RESULT make_bytes(std::uint32_t type, const void* bytes, std::size_t size, ParsedValue& value) {
  if (size > UINT32_MAX) return OX_ENOMEM;
  return make_value(type, reinterpret_cast<std::uintptr_t>(bytes), static_cast<std::uint32_t>(size), value);
}

// The value of a hex number that is all of the text. False when it is not one.
template <class Number>
bool hex_number(std::string_view text, Number& number) noexcept {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  return error == std::errc{} && end == text.data() + text.size();
}

}  // namespace

OX_RESULT parse_signed(std::uint32_t type, const char* text, ParsedValue& value) {
  return parse_number<std::int32_t>(type, value, [&](auto* number) { return oxcStrToLong(text, 10, number); });
}

OX_RESULT parse_unsigned(std::uint32_t type, const char* text, ParsedValue& value) {
  return parse_number<std::uint32_t>(type, value, [&](auto* number) { return oxcStrToUlong(text, 10, number); });
}

OX_RESULT parse_ticks(std::uint32_t type, const char* text, ParsedValue& value) {
  return parse_number<std::uint32_t>(type, value, [&](auto* ticks) { return oxcStrToTticks(text, ticks); });
}

OX_RESULT parse_time(std::uint32_t type, const char* text, ParsedValue& value) {
  return parse_number<std::uint32_t>(type, value, [&](auto* seconds) { return oxcStrToUxTime(text, seconds); });
}

OX_RESULT parse_address(std::uint32_t type, const char* text, ParsedValue& value) {
  return parse_number<std::uint32_t>(type, value, [&](auto* address) { return oxcStrToIpAddr(text, address); });
}

OX_RESULT parse_unsigned64(std::uint32_t type, const char* text, ParsedValue& value) {
  std::uint64_t number = 0;
  if (const OX_RESULT result = oxcStrToUlonglong(text, 10, &number); result != OX_OK) return result;
  return make_value(type, static_cast<std::uint32_t>(number), static_cast<std::uint32_t>(number >> 32), value);
}

OX_RESULT parse_hex(std::uint32_t type, const char* text, ParsedValue& value) {
  std::string_view rest = text;
  if (rest.starts_with("0x")) rest.remove_prefix(2);
  // Pairs with one separator between them; an empty text has none and is refused.
  if (rest.size() % 3 != 2) return OX_EFORMAT;
  std::string bytes;
  bytes.reserve(rest.size() / 3 + 1);
  for (std::size_t i = 0; i < rest.size(); i += 3) {
    std::uint8_t byte = 0;
    if (!hex_number(rest.substr(i, 2), byte)) return OX_EFORMAT;
    const bool last = i + 2 == rest.size();
    if (!last && rest[i + 2] != ':' && rest[i + 2] != ' ') return OX_EFORMAT;
    bytes.push_back(static_cast<char>(byte));
  }
  return make_bytes(type, bytes.data(), bytes.size(), value);
}

OX_RESULT parse_text(std::uint32_t type, const char* text, ParsedValue& value) {
  return make_bytes(type, text, 0, value);
}

OX_RESULT parse_path(std::uint32_t type, const char* text, ParsedValue& value) {
  const char* path = nullptr;
  if (const OX_RESULT result = access_path(text, path); result != OX_OK) return result;
  return make_bytes(type, path, 0, value);
}

OX_RESULT parse_mark(std::uint32_t type, const char*, ParsedValue& value) { return make_value(type, 0, 0, value); }

OX_RESULT parse_ipx(std::uint32_t type, const char* text, ParsedValue& value) {
  std::array<unsigned char, 10> address{};
  if (const OX_RESULT result = oxcStrToIpxAddr(text, address.data()); result != OX_OK) return result;
  return make_bytes(type, address.data(), address.size(), value);
}

OX_RESULT parse_ipv6(std::uint32_t type, const char* text, ParsedValue& value) {
  std::array<unsigned char, 16> address{};
  if (const OX_RESULT result = oxcStrToIpv6Addr(text, address.data()); result != OX_OK) return result;
  return make_bytes(type, address.data(), address.size(), value);
}

OX_RESULT parse_prefix(std::uint32_t type, const char* text, ParsedValue& value) {
  std::array<unsigned char, 17> prefix{};
  if (const OX_RESULT result = parse_ipv6_prefix(text, prefix); result != OX_OK) return result;
  return make_bytes(type, prefix.data(), prefix.size(), value);
}

OX_RESULT parse_interface_id(std::uint32_t type, const char* text, ParsedValue& value) {
  std::array<unsigned char, 8> interface_id{};
  if (const OX_RESULT result = parse_ipv6_interface(text, interface_id); result != OX_OK) return result;
  return make_bytes(type, interface_id.data(), interface_id.size(), value);
}

// Last byte first, each complemented.
OX_RESULT parse_code(std::uint32_t type, const char* text, ParsedValue& value) {
  std::string bytes = text;
  std::reverse(bytes.begin(), bytes.end());
  for (char& byte : bytes) byte = static_cast<char>(~byte);
  return make_bytes(type, bytes.data(), bytes.size(), value);
}

}  // namespace ox::data
