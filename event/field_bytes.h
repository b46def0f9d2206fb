// The fields of events and filters on the wire.
#pragma once

#include <cstdint>
#include <cstring>

#include "common/bytes.h"
#include "data/field_kinds.h"

namespace ox::event {

using field::Address;
using field::copy_step;
using field::Memo;
using field::NodeList;
using field::Number;
using field::Text;

// Bytes of one field. A 16-bit length that is too small for its text wraps; all bytes of the text follow it. That of a
// memo has 32 bits and, unlike the others, does not count the terminator. The size of a list of data nodes is known
// when it is encoded.
[[nodiscard]] inline std::size_t wire_size(const Number&) noexcept { return sizeof(std::uint32_t); }
[[nodiscard]] inline std::size_t wire_size(const Text& field) noexcept { return sizeof(std::uint16_t) + field.size; }
[[nodiscard]] inline std::size_t wire_size(const Memo& field) noexcept { return sizeof(std::uint32_t) + field.size; }
[[nodiscard]] inline std::size_t wire_size(const NodeList&) noexcept { return 0; }
[[nodiscard]] inline std::size_t wire_size(const Address& field) noexcept { return sizeof field.bytes; }

// Writes fields into a block that reaches copy_step beyond their end: texts are copied in whole steps, the last of
// which may run over into what comes next. A call of memcpy for each would cost more than its bytes.
class FieldWriter {
 public:
  explicit FieldWriter(unsigned char* block) noexcept : position_(block) {}

  [[gnu::always_inline]] void put(const Number& field) noexcept { put_integer(field); }
  [[gnu::always_inline]] void put(const Text& field) noexcept {
    put_integer(static_cast<std::uint16_t>(field.size));
    put_text(field);
  }
  [[gnu::always_inline]] void put(const Memo& field) noexcept {
    put_integer(field.size - 1);
    put_text(field);
  }
  [[gnu::always_inline]] void put(const Address& field) noexcept { put_bytes(field.bytes, sizeof field.bytes); }
  void put_bytes(const void* bytes, std::size_t size) noexcept {
    if (size != 0) std::memcpy(position_, bytes, size);
    position_ += size;
  }
  [[nodiscard]] const unsigned char* position() const noexcept { return position_; }

 private:
  template <class Integer>
  void put_integer(Integer value) noexcept {
    value = big_endian(value);
    std::memcpy(position_, &value, sizeof value);
    position_ += sizeof value;
  }
  [[gnu::always_inline]] void put_text(const Text& field) noexcept {
    for (std::uint32_t at = 0; at < field.size; at += copy_step) {
      std::memcpy(position_ + at, field.text + at, copy_step);
    }
    position_ += field.size;
  }

  unsigned char* position_;
};

// A field as it lies in received bytes.
struct View {
  const unsigned char* bytes;
  std::uint32_t size;  // of a text with its terminator
  Number number;
};

// The text that ends exactly where its length says.
[[nodiscard]] inline bool take_text(Reader& in, std::uint32_t size, View& view) noexcept {
  view.size = size;
  return in.take_bytes(size, view.bytes) && (size == 0 || std::memchr(view.bytes, 0, size) == view.bytes + size - 1);
}

// Reads one field of the kind that the last argument has. False when the bytes end too early or a text disagrees with
// its length.
[[nodiscard]] inline bool take(Reader& in, View& view, const Number*) noexcept { return in.take(view.number); }
[[nodiscard]] inline bool take(Reader& in, View& view, const Text*) noexcept {
  std::uint16_t size = 0;
  return in.take(size) && take_text(in, size, view);
}
[[nodiscard]] inline bool take(Reader& in, View& view, const Memo*) noexcept {
  std::uint32_t length = 0;
  return in.take(length) && length < in.remaining() && take_text(in, length + 1, view);
}
[[nodiscard]] inline bool take(Reader& in, View& view, const Address*) noexcept {
  view.size = sizeof(Address::bytes);
  return in.take_bytes(view.size, view.bytes);
}

// Whether a field of that kind was sent without contents: it counts as absent.
[[nodiscard]] inline bool is_empty(const View& view, const Text*) noexcept { return view.size <= 1; }
[[nodiscard]] constexpr bool is_empty(const View&, const void*) noexcept { return false; }

}  // namespace ox::event
