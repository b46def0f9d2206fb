// Events and filters and their bytes, as tests make and compare them.
#pragma once

#include <initializer_list>

#include <oxbase/oxc.h>
#include <oxbase/oxe.h>

#include "tests/access/report_peer.h"

namespace ox::test {

class EventTest : public testing::Test {
  const SameBlocks same_blocks_;
};

inline constexpr const char* every_field_wire =
    "00FFFFFF 80000001 0004 'abc' 00 00000403 00000004 00000005 0005 'comm' 00 0005 'type' 00 0005 'name' 00 "
    "00000009 0000000A 0005 'file' 00 0000000C 0004 'opt' 00 00000003 'abc' 00 0000000F 00000008 0004 0004 '1.0' 00 "
    "0004 'pub' 00 0006 '1.3.6' 00 0A000001 00000014 00000015 00000016 0004 'map' 00 '0123456789'";

template <class Object, class... Options>
[[nodiscard]] std::string encode_by(OX_RESULT(OX_CALL* encoder)(const Object*, void**, std::uint32_t*, Options...),
                                    const Object* object, Options... options) {
  std::string wire;
  EXPECT_EQ(0u, take_block([&](auto... block) { return encoder(object, block..., options...); }, &wire));
  return wire;
}
[[nodiscard]] inline std::string encode(const evmsg* list) { return encode_by(oxeEvmsgEncode, list, 0u); }
[[nodiscard]] inline std::string encode(const evflt* filter) { return encode_by(oxeEvfltEncode, filter); }

template <class Object>
[[nodiscard]] OX_RESULT decode_by(OX_RESULT(OX_CALL* decoder)(const void*, std::uint32_t, Object**),
                                  std::string_view wire, Object** object) {
  return give_block(wire, [&](const void* block, std::uint32_t size) { return decoder(block, size, object); });
}

// Events that have a send identifier each, and nothing else.
[[nodiscard]] inline std::string event_bytes(std::initializer_list<std::uint32_t> ids) {
  std::string wire;
  for (const std::uint32_t id : ids) wire += word(1) + word(id);
  return wire;
}
[[nodiscard]] inline evmsg* events_of(std::string_view wire) {
  evmsg* list = nullptr;
  EXPECT_EQ(0u, decode_by(oxeEvmsgDecode, wire, &list));
  return list;
}

// The send identifiers of a list: "1 2 3".
[[nodiscard]] inline std::string ids(const evmsg* list) {
  std::string result;
  for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    std::uint32_t id = 0;
    EXPECT_EQ(0u, oxeEvmsgGetSndId(event, &id));
    result += (result.empty() ? "" : " ") + std::to_string(id);
  }
  return result;
}

}  // namespace ox::test
