#include "snmp/ber.h"

#include <array>
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

// Base 128, most significant group first, the high bit on all groups but the last.
unsigned char* put_arc(unsigned char* out, std::uint32_t arc) noexcept {
  for (unsigned shift = 28; shift != 0; shift -= 7) {
    if (arc >> shift != 0) *out++ = static_cast<unsigned char>(0x80 | (arc >> shift));
  }
  *out++ = static_cast<unsigned char>(arc & 0x7F);
  return out;
}

// Reads one decimal number that begins at `at` and leaves `at` behind it. False when there is no digit.
bool take_arc(const char*& at, const char* end, std::uint32_t& arc) noexcept {
  const auto digit = [&] { return at != end ? static_cast<unsigned>(*at) - '0' : 10u; };
  unsigned d = digit();
  if (d > 9) return false;
  arc = d;
  for (++at; (d = digit()) <= 9; ++at) arc = arc * 10 + d;
  return true;
}

// Writes the content of an identifier forward from `out`; null for a malformed text.
unsigned char* put_arcs(unsigned char* out, const char* at, const char* end) noexcept {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  if (!take_arc(at, end, first)) return nullptr;
  const bool single = at == end;
  if (!single && (*at++ != '.' || !take_arc(at, end, second))) return nullptr;
  out = put_arc(out, first * 40 + second);
  for (std::size_t count = 3; at != end; ++count) {
    std::uint32_t arc = 0;
    if (*at++ != '.' || !take_arc(at, end, arc) || count > arc_limit) return nullptr;
    if (arc < 0x80) [[likely]] {
      *out++ = static_cast<unsigned char>(arc);
    } else {
      out = put_arc(out, arc);
    }
  }
  return out;
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

// ---- Writing
// ---------------------------------------------------------------------------------------------------------

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

void ReverseWriter::put_integer(std::uint32_t value) noexcept {
  const std::uint32_t wire = big_endian(value);
  unsigned char bytes[sizeof wire];
  std::memcpy(bytes, &wire, sizeof wire);
  put_signed(bytes, sizeof bytes);
}

void ReverseWriter::put_signed(const unsigned char* bytes, std::size_t count) noexcept {
  assert(count != 0);
  const std::size_t before = size();
  const unsigned char filler = bytes[0] < 0x80 ? 0x00 : 0xFF;
  const std::size_t dropped = superfluous(bytes, count, filler);
  put_bytes(bytes + dropped, count - dropped);
  if (((bytes[dropped] ^ filler) & 0x80) != 0) put(filler);
  close(integer, before);
}

void ReverseWriter::put_unsigned(Tag tag, const unsigned char* bytes, std::size_t count) noexcept {
  assert(count != 0);
  const std::size_t before = size();
  const std::size_t dropped = superfluous(bytes, count, 0x00);
  put_bytes(bytes + dropped, count - dropped);
  if (bytes[dropped] >= 0x80) put(0x00);
  close(tag, before);
}

// The text is converted forward, at the place where its content cannot begin any earlier, and then moved to where it
// ends.
bool ReverseWriter::put_identifier(std::string_view text) noexcept {
  const std::size_t before = size();
  if (!text.empty()) {
    assert(room() >= text.size() + identifier_bound);
    unsigned char* const start = front_ - text.size() - identifier_bound;
    const unsigned char* const stop = put_arcs(start, text.data(), text.data() + text.size());
    if (stop == nullptr) return false;
    const std::size_t written = static_cast<std::size_t>(stop - start);
    std::memmove(front_ - written, start, written);
    front_ -= written;
  }
  close(object_identifier, before);
  return true;
}

// ---- Reading
// ---------------------------------------------------------------------------------------------------------

bool ElementReader::long_length(std::size_t& size, std::size_t& header) const noexcept {
  const std::size_t count = size & 0x7F;
  if (count == 0 || count > 4 || remaining_ - header < count) return false;
  size = 0;
  for (std::size_t i = 0; i < count; ++i) size = size << 8 | position_[header + i];
  header += count;
  return true;
}

bool well_formed(const Element& element) noexcept {
  if ((element.tag & constructed) == 0) return true;
  std::array<ElementReader, depth_limit> open{ElementReader(element)};
  for (std::size_t depth = 1; depth != 0;) {
    ElementReader& innermost = open[depth - 1];
    Element child;
    if (innermost.at_end()) {
      --depth;
    } else if (!innermost.next(child)) {
      return false;
    } else if ((child.tag & constructed) != 0) {
      if (depth == open.size()) return false;
      open[depth++] = ElementReader(child);
    }
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
