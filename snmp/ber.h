// Elements of the Basic Encoding Rules (X.690) as SNMP uses them (RFC 1157, RFC 3416): one-byte tags, definite lengths.
//
// A message is written from its end to its front, so that every length is known when its element is closed and nothing
// is written twice. It is read in place: an element is a view into the message.
#pragma once

#include <cassert>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ox::ber {

using Tag = std::uint8_t;
inline constexpr Tag constructed = 0x20;
inline constexpr Tag integer = 0x02;
inline constexpr Tag octet_string = 0x04;
inline constexpr Tag constructed_octet_string = 0x24;
inline constexpr Tag null = 0x05;
inline constexpr Tag object_identifier = 0x06;
inline constexpr Tag sequence = 0x30;
inline constexpr Tag ip_address = 0x40;
inline constexpr Tag counter32 = 0x41;
inline constexpr Tag gauge32 = 0x42;
inline constexpr Tag time_ticks = 0x43;
inline constexpr Tag opaque = 0x44;
inline constexpr Tag counter64 = 0x46;
inline constexpr Tag no_such_object = 0x80;
inline constexpr Tag no_such_instance = 0x81;
inline constexpr Tag end_of_mib_view = 0x82;
inline constexpr Tag first_pdu = 0xA0;

// ---- Writing ----

// No element has more bytes before its content than this.
inline constexpr std::uint32_t header_bound = 6;
// An identifier's content is at most this much longer than its text: a single arc of one digit takes two bytes.
inline constexpr std::uint32_t identifier_bound = 1;
// Beside its header a number takes its own size and at most this much: a guard against a wrong sign, and the room in
// which it is shortened.
inline constexpr std::uint32_t number_bound = 8;

// Writes elements in reverse order, last one first, into a space that the caller computed with the bounds above.
class ReverseWriter {
 public:
  ReverseWriter(unsigned char* space, std::size_t size) noexcept : begin_(space), front_(space + size), end_(front_) {}

  [[nodiscard]] const unsigned char* front() const noexcept { return front_; }
  [[nodiscard]] std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - front_); }

  // Puts tag and length in front of what was written since the writer had `size_before` bytes.
  void close(Tag tag, std::size_t size_before) noexcept {
    put_length(static_cast<std::uint32_t>(size() - size_before));
    put(tag);
  }

  void put_octets(Tag tag, const void* bytes, std::size_t size) noexcept;
  void put_null() noexcept;
  void put_integer(std::uint32_t value) noexcept;  // the two's complement of a signed number

  // Numbers of any width, most significant byte first; at least one byte.
  void put_signed(const unsigned char* bytes, std::size_t size) noexcept;
  void put_unsigned(Tag tag, const unsigned char* bytes, std::size_t size) noexcept;

  // An identifier in dotted decimal text; the empty text is the empty identifier. False, with the element missing, for
  // anything but numbers joined by single dots, and for more than 4096 of them. Numbers wrap at 32 bits.
  [[nodiscard]] bool put_identifier(std::string_view text) noexcept;

 private:
  [[nodiscard]] std::size_t room() const noexcept { return static_cast<std::size_t>(front_ - begin_); }
  void put(unsigned char byte) noexcept {
    assert(room() >= 1);
    *--front_ = byte;
  }
  void put_bytes(const void* bytes, std::size_t size) noexcept {
    assert(room() >= size);
    front_ -= size;
    if (size != 0) std::memcpy(front_, bytes, size);
  }
  void put_length(std::uint32_t length) noexcept {
    if (length < 0x80) return put(static_cast<unsigned char>(length));
    put_long_length(length);
  }
  void put_long_length(std::uint32_t length) noexcept;
  void put_arc(std::uint32_t arc) noexcept;
  [[nodiscard]] bool put_arcs(const char* begin, const char* end) noexcept;
  void put_low_bytes(Tag tag, std::uint64_t value, unsigned count) noexcept;

  unsigned char* begin_;
  unsigned char* front_;
  unsigned char* end_;
};

// ---- Reading ----

// An element in place.
struct Element {
  Tag tag;
  const unsigned char* content;
  std::size_t size;

  [[nodiscard]] bool is_octet_string() const noexcept { return (tag | constructed) == constructed_octet_string; }
};

// Walks the elements of a content, one after the other, and never past its end.
class ElementReader {
 public:
  ElementReader() noexcept = default;  // nothing to read
  ElementReader(const unsigned char* content, std::size_t size) noexcept : position_(content), remaining_(size) {}
  explicit ElementReader(const Element& parent) noexcept : ElementReader(parent.content, parent.size) {}

  [[nodiscard]] bool at_end() const noexcept { return remaining_ == 0; }

  // False at the end, and for a tag of several bytes, an indefinite length, a length field of more than four bytes, a
  // content that would run past the end. Lengths in longer form than needed are fine.
  [[nodiscard]] bool next(Element& element) noexcept {
    if (remaining_ < 2) return false;
    const Tag tag = position_[0];
    if ((tag & 0x1F) == 0x1F) return false;
    std::size_t header = 2;
    std::size_t size = position_[1];
    if (size >= 0x80 && !long_length(size, header)) return false;
    if (remaining_ - header < size) return false;
    element = {tag, position_ + header, size};
    position_ += header + size;
    remaining_ -= header + size;
    return true;
  }

  // The next element, when it has this tag.
  [[nodiscard]] bool next(Tag tag, Element& element) noexcept { return next(element) && element.tag == tag; }

 private:
  bool long_length(std::size_t& size, std::size_t& header) const noexcept;

  const unsigned char* position_ = nullptr;
  std::size_t remaining_ = 0;
};

// How many constructed elements may stand in one another.
inline constexpr int depth_limit = 32;

// Whether an element's content, if constructed, consists of elements to the last byte, all the way down. `depth` is
// that of the element: 1 for a whole message, 2 for what stands in it.
[[nodiscard]] bool well_formed(const Element& element, int depth) noexcept;

// The same for the elements that a content has beyond those that mean something. A message is refused for a malformed
// element even where nobody looks at it.
[[nodiscard]] bool rest_is_well_formed(ElementReader& rest, int depth) noexcept;

// An INTEGER's content as the two's complement of 32 bits. Zeros in front are passed over, but the sign is that of the
// first byte: 00 80 is 128. False for an empty content and for a number beyond 32 bits.
[[nodiscard]] bool signed_of(const Element& element, std::uint32_t& value) noexcept;

// An unsigned number. False for an empty content and for one of more bytes than the number has, zeros in front apart.
[[nodiscard]] bool unsigned_of(const Element& element, std::uint32_t& value) noexcept;
[[nodiscard]] bool unsigned_of(const Element& element, std::uint64_t& value) noexcept;

// The size that an identifier's dotted text of a content of this size does not exceed, terminator not counted.
[[nodiscard]] constexpr std::size_t identifier_text_bound(std::size_t content) noexcept { return 4 * content + 2; }

// An identifier in dotted decimal text, without terminator; false, with the text undefined, when the last number is cut
// or a number is beyond 32 bits. The first number of the text is at most 2: 88 37 is "2.999".
[[nodiscard]] bool identifier_text(const Element& element, char* text, std::size_t& size) noexcept;

// The bytes of a well-formed octet string. The segments of a constructed one (X.690, 8.7.3) are joined; false when one
// of them is no octet string. `copy` null only counts.
[[nodiscard]] bool octets_of(const Element& element, unsigned char* copy, std::size_t& size) noexcept;

}  // namespace ox::ber
