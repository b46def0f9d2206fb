#include "snmp/ber.h"

#include <array>
#include <bit>
#include <charconv>

#include "common/bytes.h"

namespace ox::ber {
namespace {

constexpr std::size_t arc_limit = 4096;

// The number of bytes in front that the shortest form does without.
std::size_t superfluous(const unsigned char* bytes, std::size_t size, unsigned char filler) noexcept {
  std::size_t count = 0;
  while (count + 1 < size && bytes[count] == filler) ++count;
  return count;
}

unsigned digit_of(char c) noexcept { return static_cast<unsigned>(static_cast<unsigned char>(c)) - '0'; }

// Reads the decimal number that begins at `at` and leaves `at` behind it. False when there is no digit.
bool take_arc(const char*& at, const char* end, std::uint32_t& arc) noexcept {
  const char* const start = at;
  arc = 0;
  for (; at != end && digit_of(*at) <= 9; ++at) arc = arc * 10 + digit_of(*at);
  return at != start;
}

// Reads the decimal number that ends at `end` and leaves `end` at its first digit. False when there is no digit.
bool take_last_arc(const char* begin, const char*& end, std::uint32_t& arc) noexcept {
  const char* const start = end;
  arc = 0;
  for (std::uint32_t scale = 1; end != begin && digit_of(end[-1]) <= 9; --end, scale *= 10) {
    arc += digit_of(end[-1]) * scale;
  }
  return end != start;
}

// Four numbers of one digit, each behind its dot: what most of an identifier is made of. False when the text is
// another.
bool four_arcs(const char* text, unsigned char (&arcs)[4]) noexcept {
  std::uint64_t digits = 0;
  std::memcpy(&digits, text, sizeof digits);
  digits ^= 0x302E302E302E302E;  // 0 to 9 in every other byte, 0 between them
  if (((digits | (digits + 0x7600760076007600)) & 0x80FF80FF80FF80FF) != 0) return false;
  for (int i = 0; i < 4; ++i) arcs[i] = static_cast<unsigned char>(digits >> (16 * i + 8));
  return true;
}

// The next number of an identifier; false when it is cut or beyond 32 bits.
bool take_subidentifier(const unsigned char*& at, const unsigned char* end, std::uint32_t& value) noexcept {
  value = 0;
  while (at != end) {
    const unsigned char byte = *at++;
    if (value >> 25 != 0) return false;
    value = value << 7 | (byte & 0x7Fu);
    if (byte < 0x80) return true;
  }
  return false;
}

char* put_number(char* out, std::uint32_t number) noexcept {
  if (number < 10) [[likely]] {
    *out = static_cast<char>('0' + number);
    return out + 1;
  }
  return std::to_chars(out, out + 10, number).ptr;
}

template <class Number>
bool unsigned_number(const Element& element, Number& value) noexcept {
  if (element.size == 0) return false;
  const std::size_t zeros = superfluous(element.content, element.size, 0x00);
  if (element.size - zeros > sizeof value) return false;
  value = 0;
  for (std::size_t i = zeros; i < element.size; ++i) value = static_cast<Number>(value << 8 | element.content[i]);
  return true;
}

}  // namespace

// ---- Writing ----

void ReverseWriter::put_long_length(std::uint32_t length) noexcept {
  const std::size_t before = size();
  for (; length != 0; length >>= 8) put(static_cast<unsigned char>(length));
  put(static_cast<unsigned char>(0x80 | (size() - before)));
}

void ReverseWriter::put_octets(Tag tag, const void* bytes, std::size_t count) noexcept {
  put_bytes(bytes, count);
  put_length(static_cast<std::uint32_t>(count));
  put(tag);
}

void ReverseWriter::put_null() noexcept {
  put(0);
  put(null);
}

// All eight bytes are stored, and the writer moves by those that count.
void ReverseWriter::put_low_bytes(Tag tag, std::uint64_t value, unsigned count) noexcept {
  assert(room() >= sizeof value);
  const std::uint64_t wire = big_endian(value);
  std::memcpy(front_ - sizeof wire, &wire, sizeof wire);
  front_ -= count;
  put(static_cast<unsigned char>(count));
  put(tag);
}

void ReverseWriter::put_integer(std::uint32_t value) noexcept {
  const std::int64_t wide = static_cast<std::int32_t>(value);
  const auto bits = static_cast<std::uint64_t>(wide ^ (wide >> 63));
  put_low_bytes(integer, static_cast<std::uint64_t>(wide), (72u - static_cast<unsigned>(std::countl_zero(bits))) / 8);
}

void ReverseWriter::put_signed(const unsigned char* bytes, std::size_t count) noexcept {
  assert(count != 0);
  std::uint32_t value = 0;
  if (count == sizeof value) {
    std::memcpy(&value, bytes, sizeof value);
    return put_integer(big_endian(value));
  }
  const std::size_t before = size();
  const unsigned char filler = bytes[0] < 0x80 ? 0x00 : 0xFF;
  const std::size_t dropped = superfluous(bytes, count, filler);
  put_bytes(bytes + dropped, count - dropped);
  if (((bytes[dropped] ^ filler) & 0x80) != 0) put(filler);
  close(integer, before);
}

void ReverseWriter::put_unsigned(Tag tag, const unsigned char* bytes, std::size_t count) noexcept {
  assert(count != 0);
  std::uint32_t value = 0;
  if (count == sizeof value) {
    std::memcpy(&value, bytes, sizeof value);
    value = big_endian(value);
    return put_low_bytes(tag, value, (40u - static_cast<unsigned>(std::countl_zero(value))) / 8);
  }
  const std::size_t before = size();
  const std::size_t dropped = superfluous(bytes, count, 0x00);
  put_bytes(bytes + dropped, count - dropped);
  if (bytes[dropped] >= 0x80) put(0x00);
  close(tag, before);
}

// Base 128, the high bit on all groups but the last.
void ReverseWriter::put_arc(std::uint32_t arc) noexcept {
  put(static_cast<unsigned char>(arc & 0x7F));
  while ((arc >>= 7) != 0) put(static_cast<unsigned char>(0x80 | arc));
}

// The numbers of a text, each behind its dot.
bool ReverseWriter::put_arcs(const char* begin, const char* end) noexcept {
  std::size_t count = 2;
  while (end != begin) {
    unsigned char arcs[4];
    if (end - begin >= 8 && four_arcs(end - 8, arcs)) {
      put_bytes(arcs, sizeof arcs);
      end -= 8;
      count += 4;
      continue;
    }
    std::uint32_t arc = 0;
    if (!take_last_arc(begin, end, arc) || end == begin || *--end != '.') return false;
    put_arc(arc);
    ++count;
  }
  return count <= arc_limit;
}

bool ReverseWriter::put_identifier(std::string_view text) noexcept {
  const std::size_t before = size();
  if (!text.empty()) {
    const char* at = text.data();
    const char* const end = at + text.size();
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    if (!take_arc(at, end, first)) return false;
    if (at != end && (*at++ != '.' || !take_arc(at, end, second))) return false;
    if (!put_arcs(at, end)) return false;
    put_arc(first * 40 + second);
  }
  close(object_identifier, before);
  return true;
}

// ---- Reading ----

bool ElementReader::long_length(std::size_t& size, std::size_t& header) const noexcept {
  const std::size_t count = size & 0x7F;
  if (count == 0 || count > 4 || remaining_ - header < count) return false;
  size = 0;
  for (std::size_t i = 0; i < count; ++i) size = size << 8 | position_[header + i];
  header += count;
  return true;
}

bool well_formed(const Element& element, int depth) noexcept {
  if ((element.tag & constructed) == 0) return true;
  std::array<ElementReader, depth_limit> open;
  int inside = 0;
  open[inside++] = ElementReader(element);
  while (inside != 0) {
    ElementReader& innermost = open[inside - 1];
    Element child;
    if (innermost.at_end()) {
      --inside;
    } else if (!innermost.next(child)) {
      return false;
    } else if ((child.tag & constructed) != 0) {
      if (depth + inside > depth_limit) return false;
      open[inside++] = ElementReader(child);
    }
  }
  return true;
}

bool rest_is_well_formed(ElementReader& rest, int depth) noexcept {
  while (!rest.at_end()) {
    Element element;
    if (!rest.next(element) || !well_formed(element, depth)) return false;
  }
  return true;
}

bool signed_of(const Element& element, std::uint32_t& value) noexcept {
  if (element.size == 0) return false;
  const bool negative = element.content[0] >= 0x80;
  const std::size_t zeros = superfluous(element.content, element.size, 0x00);
  const std::size_t count = element.size - zeros;
  if (count > sizeof value) return false;
  if (count == sizeof value && !negative && element.content[zeros] >= 0x80) return false;
  value = negative ? ~std::uint32_t{0} : 0;
  for (std::size_t i = zeros; i < element.size; ++i) value = value << 8 | element.content[i];
  return true;
}

bool unsigned_of(const Element& element, std::uint32_t& value) noexcept { return unsigned_number(element, value); }
bool unsigned_of(const Element& element, std::uint64_t& value) noexcept { return unsigned_number(element, value); }

bool identifier_text(const Element& element, char* text, std::size_t& size) noexcept {
  size = 0;
  if (element.size == 0) return true;
  const unsigned char* at = element.content;
  const unsigned char* const end = at + element.size;
  std::uint32_t number = 0;
  if (!take_subidentifier(at, end, number)) return false;
  const std::uint32_t first = number < 80 ? number / 40 : 2;
  char* out = put_number(text, first);
  *out++ = '.';
  out = put_number(out, number - first * 40);
  while (at != end) {
    if (*at < 0x80) [[likely]] {
      number = *at++;
    } else if (!take_subidentifier(at, end, number)) {
      return false;
    }
    *out++ = '.';
    out = put_number(out, number);
  }
  size = static_cast<std::size_t>(out - text);
  return true;
}

bool octets_of(const Element& element, unsigned char* copy, std::size_t& size) noexcept {
  if ((element.tag & constructed) == 0) {
    if (copy != nullptr && element.size != 0) std::memcpy(copy, element.content, element.size);
    size = element.size;
    return true;
  }
  size = 0;
  ElementReader segments(element);
  while (!segments.at_end()) {
    Element segment;
    std::size_t added = 0;
    if (!segments.next(segment) || !segment.is_octet_string()) return false;
    if (!octets_of(segment, copy != nullptr ? copy + size : nullptr, added)) return false;
    size += added;
  }
  return true;
}

}  // namespace ox::ber
