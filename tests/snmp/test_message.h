// Messages, traps and their values as the tests write and read them.
#pragma once

#include <oxbase/oxs.h>

#include "tests/support/blocks.h"
#include "tests/support/test.h"

namespace ox::test {

// The value of a test node: the arguments of oxdSetRawValue, so that any stored form can be made.
struct Stored {
  uint32_t type;
  std::string bytes;
};

inline void set_raw(dnode* node, const Stored& value) {
  ASSERT_EQ(0u, oxdSetRawValue(node, value.type, static_cast<uint32_t>(value.bytes.size()), block_of(value.bytes)));
}

inline void add_binding(dnode*& list, const char* name, const Stored& value) {
  dnode* node = oxdAlloc(1);
  ASSERT_TRUE(name == nullptr || oxdSetAmibName(node, name) == 0);
  set_raw(node, value);
  oxcQueueAdd(&list, node);
}

// A message or a trap that owns its parts.
template <class Record, auto release>
struct Owned : Record {
  Owned() : Record{} {}
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { release(this); }

  void set_community(std::string_view text) {
    oxcMemFree(this->community);
    this->community = static_cast<unsigned char*>(block_of(text));
    this->communityLength = static_cast<uint32_t>(text.size());
  }
};

struct Message : Owned<oxsSnmpMessage, oxsSnmpFree> {
  Message() = default;
  // The message that response() builds.
  explicit Message(const Stored& value, const char* name = "1.3") {
    version = OXS_V2C;
    set_community("c");
    pduType = OXS_RESPONSE;
    requestId = 1;
    add_binding(bindings, name, value);
  }
};

inline OX_RESULT encode(const oxsSnmpMessage& message, std::string* bytes,
                        decltype(&oxsSnmpEncode) call = oxsSnmpEncode) {
  return take_block([&](void** block, uint32_t* length) { return call(&message, block, length); }, bytes);
}

inline std::string encoded(const oxsSnmpMessage& message, decltype(&oxsSnmpEncode) call = oxsSnmpEncode) {
  std::string bytes;
  EXPECT_EQ(0u, encode(message, &bytes, call));
  return bytes;
}

inline OX_RESULT decode(std::string_view bytes, oxsSnmpMessage& message,
                        decltype(&oxsSnmpDecode) call = oxsSnmpDecode) {
  return give_block(bytes, [&](void* block, uint32_t size) { return call(block, size, &message); });
}

inline Stored value_of(const dnode* node) {
  uint32_t type = 0;
  uint32_t size = 0;
  const void* bytes = nullptr;
  if (oxdGetValue(node, &type, &size, &bytes) != OX_OK) return {0, ""};
  return {type, std::string(static_cast<const char*>(bytes), size)};
}

inline const char* name_of(const dnode* node) {
  const char* name = nullptr;
  EXPECT_EQ(0u, oxdGetAmibName(node, &name));
  return name;
}

}  // namespace ox::test
