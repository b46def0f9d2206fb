// The two wire forms of a message. The manager's protocol puts markers into what it receives and none into what it
// sends; both forms are in docs/protocol.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>

#include "access/message.h"
#include "common/bytes.h"
#include "common/memory.h"

namespace ox {

// A piece of a request's payload. Nothing is copied before the message is laid out.
class PayloadPart {
 public:
  // A 16-bit length that counts the terminator, then the text with it; null stands for length 0 and no bytes.
  static PayloadPart text(const char* text) noexcept;
  static PayloadPart half(std::uint32_t value) noexcept { return {Kind::half, nullptr, value}; }
  static PayloadPart word(std::uint32_t value) noexcept { return {Kind::word, nullptr, value}; }
  static PayloadPart words(std::span<const std::uint32_t> values) noexcept {
    return {Kind::words, values.data(), values.size()};
  }
  static PayloadPart bytes(const void* bytes, std::size_t size) noexcept { return {Kind::bytes, bytes, size}; }
  static PayloadPart bytes_after_half(const void* bytes, std::size_t size) noexcept {
    return {Kind::bytes_after_half, bytes, size};
  }
  static PayloadPart bytes_after_word(const void* bytes, std::size_t size) noexcept {
    return {Kind::bytes_after_word, bytes, size};
  }

 private:
  friend class Frame;
  enum class Kind : std::uint8_t { half, word, words, bytes, bytes_after_half, bytes_after_word };
  PayloadPart(Kind kind, const void* data, std::size_t number) noexcept : kind_(kind), data_(data), number_(number) {}

  [[nodiscard]] std::uint64_t size() const noexcept;
  [[nodiscard]] bool fits() const noexcept;  // its length word can tell its length
  void write(Writer& out) const noexcept;

  Kind kind_;
  const void* data_;
  std::size_t number_;  // the value, or the number of bytes or words behind data_
};

// A message laid out as the manager receives it: header and data part in one piece of memory.
class Frame {
 public:
  Frame() noexcept {}  // the buffer stays undefined: clearing it would cost more than the rest of a request
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  // 0; 266 for a text or list longer than its length word can tell; 3. An empty payload gives no data part.
  [[nodiscard]] OX_RESULT lay_out(const RequestHeader& header, std::initializer_list<PayloadPart> payload);

  // Copies what another one has laid out. 0; 1 when it is no message; 3.
  [[nodiscard]] OX_RESULT repeat(std::span<const unsigned char> laid_out);

  [[nodiscard]] std::span<const unsigned char> all() const noexcept { return {begin(), size_}; }
  [[nodiscard]] std::span<const unsigned char> header() const noexcept { return all().first(header_size_); }
  [[nodiscard]] std::span<const unsigned char> data_part() const noexcept { return all().subspan(header_size_); }

 private:
  [[nodiscard]] OX_RESULT make_room(std::size_t size, std::size_t header_size);
  [[nodiscard]] const unsigned char* begin() const noexcept { return large_ ? large_.get() : small_.data(); }
  [[nodiscard]] unsigned char* begin() noexcept { return large_ ? large_.get() : small_.data(); }

  std::array<unsigned char, 8192> small_;
  tracked_ptr<unsigned char[]> large_;
  std::size_t size_ = 0;
  std::size_t header_size_ = 0;
};

// The longest payload of a data part of so many bytes.
[[nodiscard]] std::uint32_t payload_of(std::uint32_t data_part) noexcept;

// The header of a received message, its names still in the received bytes, as long as their length words say.
struct ReceivedHeader {
  std::uint32_t header_length;
  std::uint32_t data_length;
  std::uint16_t version;
  std::uint16_t type;
  std::uint16_t command;
  std::uint16_t error;
  std::uint16_t reserved1;
  std::uint16_t reserved2;
  std::uint32_t source_id;
  std::uint32_t destination_id;
  std::span<const unsigned char> source_name;  // empty when there is none
  std::span<const unsigned char> destination_name;
  std::uint32_t reference;
};

inline constexpr std::uint32_t received_header_minimum = 36;  // without names
inline constexpr std::uint32_t received_header_maximum = received_header_minimum + 2 * 65535;

// Parses a whole header, its own length word included. Bytes behind the reference word are left unread.
// 0; 71 when the fields do not fit in it.
[[nodiscard]] OX_RESULT parse_received_header(std::span<const unsigned char> bytes, ReceivedHeader& header) noexcept;

}  // namespace ox
