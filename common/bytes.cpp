// The exported cursor helpers. They stay untraced: one record is dozens of calls.
#include "common/bytes.h"

#include <oxbase/oxbytes.h>

namespace {

template <class Integer>
OX_RESULT store(unsigned char** cursor, Integer value) noexcept {
  value = ox::big_endian(value);
  std::memcpy(*cursor, &value, sizeof value);
  *cursor += sizeof value;
  return OX_OK;
}

template <class Integer>
Integer load(const unsigned char* position) noexcept {
  Integer value;
  std::memcpy(&value, position, sizeof value);
  return ox::big_endian(value);
}

template <class Integer>
Integer load_and_move(const unsigned char** cursor) noexcept {
  const Integer value = load<Integer>(*cursor);
  *cursor += sizeof value;
  return value;
}

}  // namespace

OX_RESULT OX_CALL set_short(unsigned char** cursor, uint32_t value) {
  return store(cursor, static_cast<std::uint16_t>(value));
}
OX_RESULT OX_CALL set_long(unsigned char** cursor, uint32_t value) { return store(cursor, value); }
OX_RESULT OX_CALL set_handle(unsigned char** cursor, uint32_t value) { return store(cursor, value); }

OX_RESULT OX_CALL set_str(unsigned char** cursor, const void* bytes, uint32_t length) {
  (void)set_short(cursor, length);
  if (length != 0) std::memcpy(*cursor, bytes, length);
  *cursor += length;
  return OX_OK;
}

uint32_t OX_CALL get_short(const unsigned char** cursor) { return load_and_move<std::uint16_t>(cursor); }
uint32_t OX_CALL get_long(const unsigned char** cursor) { return load_and_move<std::uint32_t>(cursor); }
uint32_t OX_CALL get_handle(const unsigned char** cursor) { return load_and_move<std::uint32_t>(cursor); }

const char* OX_CALL get_str(const unsigned char** cursor) {
  const uint32_t length = get_short(cursor);
  const unsigned char* bytes = *cursor;
  *cursor += length;
  return length != 0 ? reinterpret_cast<const char*>(bytes) : nullptr;
}

uint32_t OX_CALL peek_short(const unsigned char* position) { return load<std::uint16_t>(position); }
uint32_t OX_CALL peek_long(const unsigned char* position) { return load<std::uint32_t>(position); }
uint32_t OX_CALL peek_len(const unsigned char* position) { return load<std::uint16_t>(position); }

uint16_t OX_CALL oxcHtons(uint16_t value) { return ox::big_endian(value); }
uint32_t OX_CALL oxcHtonl(uint32_t value) { return ox::big_endian(value); }
uint64_t OX_CALL oxcHtonll(uint64_t value) { return ox::big_endian(value); }
uint64_t OX_CALL oxcNtohll(uint64_t value) { return ox::big_endian(value); }
