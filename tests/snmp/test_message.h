// Messages and their values as the tests write and read them.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

namespace ox::test {

// The value of a test node: the arguments of oxdSetRawValue, so that any stored form can be made.
struct Stored {
  uint32_t type;
  std::string bytes;
};

inline void set_raw(dnode* node, const Stored& value) {
  const auto size = static_cast<uint32_t>(value.bytes.size());
  void* block = oxcMemAlloc(size, "test");
  value.bytes.copy(static_cast<char*>(block), size);
  ASSERT_EQ(0u, oxdSetRawValue(node, value.type, size, block));
}

inline void add_binding(dnode*& list, const char* name, const Stored& value) {
  dnode* node = oxdAlloc(1);
  ASSERT_TRUE(name == nullptr || oxdSetAmibName(node, name) == 0);
  set_raw(node, value);
  oxcQueueAdd(&list, node);
}

// A message that owns its parts.
struct Message : oxsSnmpMessage {
  Message() : oxsSnmpMessage{} {}
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  ~Message() { oxsSnmpFree(this); }

  // The message that response() builds.
  explicit Message(const Stored& value, const char* name = "1.3") : Message() {
    version = OXS_V2C;
    set_community("c");
    pduType = OXS_RESPONSE;
    requestId = 1;
    add_binding(bindings, name, value);
  }
  void set_community(std::string_view text) {
    oxcMemFree(community);
    community = static_cast<unsigned char*>(oxcMemAlloc(static_cast<uint32_t>(text.size()), "test"));
    text.copy(reinterpret_cast<char*>(community), text.size());
    communityLength = static_cast<uint32_t>(text.size());
  }
};

inline OX_RESULT encode(const oxsSnmpMessage& message, std::string& bytes,
                        decltype(&oxsSnmpEncode) call = oxsSnmpEncode) {
  void* buffer = &bytes;
  uint32_t length = 77;
  const OX_RESULT result = call(&message, &buffer, &length);
  if (result != OX_OK) {
    EXPECT_EQ(nullptr, buffer);
    EXPECT_EQ(0u, length);
  } else {
    bytes.assign(static_cast<const char*>(buffer), length);
  }
  oxcMemFree(buffer);
  return result;
}

inline std::string encoded(const oxsSnmpMessage& message) {
  std::string bytes;
  EXPECT_EQ(0u, encode(message, bytes));
  return bytes;
}

// From a block of exactly the bytes' size, so that an overread is seen.
inline OX_RESULT decode(std::string_view bytes, oxsSnmpMessage& message) {
  const auto block = std::make_unique<char[]>(bytes.size());
  bytes.copy(block.get(), bytes.size());
  return oxsSnmpDecode(block.get(), static_cast<uint32_t>(bytes.size()), &message);
}

inline Stored value_of(const dnode* node) {
  uint32_t type = 0;
  uint32_t size = 0;
  const void* bytes = nullptr;
  if (oxdGetValue(node, &type, &size, &bytes) != OX_OK) return {0, ""};
  return {type, std::string(static_cast<const char*>(bytes), size)};
}

inline std::string community_of(const oxsSnmpMessage& message) {
  return {reinterpret_cast<const char*>(message.community), message.communityLength};
}

inline const char* name_of(const dnode* node) {
  const char* name = nullptr;
  EXPECT_EQ(0u, oxdGetAmibName(node, &name));
  return name;
}

}  // namespace ox::test
