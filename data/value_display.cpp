// Value to text.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "common/addresses.h"
#include "common/bytes.h"
#include "data/value_conversions.h"

namespace ox::data {
namespace {

constexpr std::size_t whole = SIZE_MAX;
constexpr std::size_t shown_bytes = 255;  // of a readable value
constexpr std::string_view cut_mark = "....";

template <class Number>
bool take_number(const dnode& node, Number& number) noexcept {
  return Reader(node.value.bytes, node.value.size).take(number);
}

// The characters of a text value: the size is a peer's word, so a missing terminator is possible.
std::string_view characters(const dnode& node) noexcept {
  const std::string_view text = node.value.view();
  return text.substr(0, text.find('\0'));
}

// "0x01:ff", the first `limit` bytes.
const char* hex(const dnode& node, std::size_t limit, GrowingText& out) noexcept {
  constexpr char digits[] = "0123456789abcdef";
  const std::string_view bytes = node.value.view();
  out.append("0x");
  const char* separator = "";
  for (const char byte : bytes.substr(0, limit)) {
    const auto value = static_cast<unsigned char>(byte);
    const char pair[] = {digits[value >> 4], digits[value & 15]};
    out.append(separator);
    out.append({pair, sizeof pair});
    separator = ":";
  }
  if (bytes.size() > limit) out.append(cut_mark);
  return out.text();
}

template <class Number>
const char* decimal(Number number, GrowingText& out) noexcept {
  char digits[32];
  const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  out.append({digits, static_cast<std::size_t>(end - digits)});
  return out.text();
}

// A conversion of common/, null when the thread has no memory for its buffer.
const char* copy_of(const char* text, GrowingText& out) noexcept {
  if (text == nullptr) return nullptr;
  out.append(text);
  return out.text();
}

bool readable(char character) noexcept { return character >= ' ' && character <= '~'; }

}  // namespace

const char* print_signed(const dnode& node, GrowingText& out) {
  std::uint32_t number = 0;
  return take_number(node, number) ? decimal(static_cast<std::int32_t>(number), out) : hex(node, whole, out);
}

const char* print_named_number(const dnode& node, GrowingText& out) {
  std::uint32_t number = 0;
  const char* name = nullptr;
  const bool named = node.has(bit::amib_name) && take_number(node, number) &&
                     oxbEnumToStr(node.amib_name.text, static_cast<std::int32_t>(number), &name) == OX_OK;
  return named ? copy_of(name, out) : print_signed(node, out);
}

const char* print_unsigned(const dnode& node, GrowingText& out) {
  std::uint32_t number = 0;
  return take_number(node, number) ? decimal(number, out) : hex(node, whole, out);
}

const char* print_unsigned64(const dnode& node, GrowingText& out) {
  std::uint64_t number = 0;
  return take_number(node, number) ? decimal(number, out) : hex(node, whole, out);
}

const char* print_ticks(const dnode& node, GrowingText& out) {
  std::uint32_t ticks = 0;
  return take_number(node, ticks) ? copy_of(oxcTticksToStr(ticks), out) : hex(node, whole, out);
}

const char* print_time(const dnode& node, GrowingText& out) {
  std::uint32_t seconds = 0;
  if (!take_number(node, seconds)) return hex(node, whole, out);
  const char* text = oxcUxTimeToStr(seconds);
  return text != nullptr ? copy_of(text, out) : decimal(seconds, out);
}

const char* print_address(const dnode& node, GrowingText& out) {
  std::uint32_t address = 0;
  if (node.value.size < sizeof address) return hex(node, whole, out);
  std::memcpy(&address, node.value.bytes, sizeof address);
  return copy_of(oxcIpAddrToStr(address), out);
}

const char* print_readable(const dnode& node, GrowingText& out) {
  const std::string_view bytes = node.value.view();
  if (!std::all_of(bytes.begin(), bytes.end(), readable)) return hex(node, shown_bytes, out);
  out.append(bytes.substr(0, shown_bytes));
  if (bytes.size() > shown_bytes) out.append(cut_mark);
  return out.text();
}

namespace {

// A number in the IEEE 754 form of as many bytes as it has, wrapped as agents do it that have no type for it: its own
// tag of two bytes, its length, itself. False for anything else.
template <class Bits, class Number>
bool take_wrapped(const dnode& node, unsigned char tag, Number& number) noexcept {
  static_assert(sizeof(Bits) == sizeof(Number));
  const auto* bytes = static_cast<const unsigned char*>(node.value.bytes);
  if (node.value.size != 3 + sizeof number || bytes[0] != 0x9F || bytes[1] != tag || bytes[2] != sizeof number) {
    return false;
  }
  Bits bits = 0;
  if (!Reader(bytes + 3, sizeof bits).take(bits)) return false;
  std::memcpy(&number, &bits, sizeof number);
  return true;
}

}  // namespace

const char* print_opaque(const dnode& node, GrowingText& out) {
  float single = 0;
  double wide = 0;
  if (take_wrapped<std::uint32_t>(node, 0x78, single)) return decimal(single, out);
  if (take_wrapped<std::uint64_t>(node, 0x79, wide)) return decimal(wide, out);
  return print_readable(node, out);
}

const char* print_hex(const dnode& node, GrowingText& out) { return hex(node, whole, out); }

const char* print_text(const dnode& node, GrowingText& out) {
  out.append(characters(node));
  return out.text();
}

const char* print_path(const dnode& node, GrowingText& out) {
  // The head and its dot go together: a path that ends at the head is shown whole.
  constexpr std::string_view standard = "iso.org.dod.internet.mgmt.mib-2.";
  constexpr std::string_view enterprises = "iso.org.dod.internet.private.enterprises.";
  const char* path = print_text(node, out);
  if (path == nullptr) return nullptr;
  const char* found = nullptr;
  if (oxbStrName(path, &found) != OX_OK) return "(bad AMIB name)";
  std::string_view name = found;
  out.clear();
  if (name.starts_with(enterprises)) {
    name.remove_prefix(enterprises.size());
    out.append("~");
  } else if (name.starts_with(standard)) {
    name.remove_prefix(standard.size());
  }
  out.append(name);
  return out.text();
}

const char* print_null(const dnode&, GrowingText&) { return "(null)"; }
const char* print_deleted(const dnode&, GrowingText&) { return "(deleted)"; }
const char* print_code(const dnode&, GrowingText&) { return "********"; }

const char* print_ipx(const dnode& node, GrowingText& out) {
  constexpr std::uint32_t size = 10;
  return node.value.size >= size ? copy_of(oxcIpxAddrToStr(node.value.bytes), out) : hex(node, whole, out);
}

const char* print_ipv6(const dnode& node, GrowingText& out) {
  if (node.value.size != 16) return hex(node, whole, out);
  return copy_of(oxcIpv6AddrToStr(node.value.bytes), out);
}

const char* print_prefix(const dnode& node, GrowingText& out) {
  constexpr std::size_t size = 17;
  const auto* bytes = static_cast<const unsigned char*>(node.value.bytes);
  if (node.value.size != size || bytes[size - 1] > 128) return hex(node, whole, out);
  char text[50];
  return copy_of(print_ipv6_prefix(AddressBytes<size>(bytes, size), text), out);
}

const char* print_interface_id(const dnode& node, GrowingText& out) {
  constexpr std::size_t size = 8;
  if (node.value.size != size) return hex(node, whole, out);
  char text[20];
  const auto* bytes = static_cast<const unsigned char*>(node.value.bytes);
  return copy_of(print_ipv6_interface(AddressBytes<size>(bytes, size), text), out);
}

}  // namespace ox::data
