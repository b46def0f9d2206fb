// The encoding of a data node list: nodes back to back, each a word of presence bits and the fields that it names,
// big-endian, in the order of the field rows. The end of the data ends the list.
#include <cstring>

#include "common/bytes.h"
#include "common/trace.h"
#include "data/dnode_fields.h"

namespace ox::data {
namespace {

constexpr std::uint32_t longest_text = 0xFFFF;  // with its terminator: what a 16-bit length holds

// Bytes of one field.
std::size_t wire_size(const Text& field) noexcept { return sizeof(std::uint16_t) + field.size; }
std::size_t wire_size(const Value& field) noexcept {
  return sizeof(std::uint16_t) + sizeof(std::uint32_t) + field.size;
}
template <class Number>
std::size_t wire_size(const Number&) noexcept {
  return sizeof(Number);
}

bool fits(const Text& field) noexcept { return field.size <= longest_text; }
template <class Member>
bool fits(const Member&) noexcept {
  return true;
}

// Bytes of a whole list. 266 for what the encoding cannot carry.
OX_RESULT measure(const dnode* list, std::uint32_t& size) noexcept {
  std::uint64_t total = 0;
  bool fitting = true;
  for (const dnode* node = list; node != nullptr; node = node->next) {
    total += sizeof(std::uint16_t);
    every_field([&](const auto& field) {
      if (node->has(field.bit)) {
        total += wire_size(node->*field.member);
        fitting &= fits(node->*field.member);
      }
      return true;
    });
  }
  if (!fitting || total > UINT32_MAX) return OX_EENCODEDLONG;
  size = static_cast<std::uint32_t>(total);
  return OX_OK;
}

void put(Writer& writer, const Text& field) noexcept {
  writer.put(static_cast<std::uint16_t>(field.size));
  writer.put_bytes(field.text, field.size);
}

void put(Writer& writer, const Value& field) noexcept {
  writer.put(static_cast<std::uint16_t>(field.type));
  writer.put(field.size);
  writer.put_bytes(field.bytes, field.size);
}

template <class Number>
void put(Writer& writer, const Number& field) noexcept {
  writer.put(field);
}

OX_RESULT encode(const dnode* list, void** buffer, std::uint32_t* length) noexcept {
  std::uint32_t size = 0;
  if (const OX_RESULT result = measure(list, size); result != OX_OK) return result;
  auto block = make_tracked_array<unsigned char>(size, "dn_encode");
  if (!block) return OX_ENOMEM;
  Writer writer(block.get(), size);
  for (const dnode* node = list; node != nullptr; node = node->next) {
    writer.put(static_cast<std::uint16_t>(node->present & wire_bits));
    every_field([&](const auto& field) {
      if (node->has(field.bit)) put(writer, node->*field.member);
      return true;
    });
  }
  writer.finish();
  *buffer = block.release();
  *length = size;
  return OX_OK;
}

// A field as it is read. 71 or 3.
OX_RESULT take(Reader& reader, const Field<Text>& row, dnode& node) noexcept {
  std::uint16_t size = 0;
  const unsigned char* bytes = nullptr;
  if (!reader.take(size) || !reader.take_bytes(size, bytes)) return OX_ETRUNCATED;
  // The text ends at its first zero byte or where the field does, whichever comes first.
  const void* end = size != 0 ? std::memchr(bytes, 0, size) : nullptr;
  const std::uint32_t length =
      end != nullptr ? static_cast<std::uint32_t>(static_cast<const unsigned char*>(end) - bytes) : size;
  char* const room = text_room(node, row, length + 1, row.tags.decode);
  if (room == nullptr) return OX_ENOMEM;
  std::memcpy(room, bytes, length);
  room[length] = '\0';
  node.*row.member = {room, length + 1};
  return OX_OK;
}

OX_RESULT take(Reader& reader, const Field<Value>& row, dnode& node) noexcept {
  std::uint16_t type = 0;
  std::uint32_t size = 0;
  const unsigned char* bytes = nullptr;
  if (!reader.take(type) || !reader.take(size) || !reader.take_bytes(size, bytes)) return OX_ETRUNCATED;
  unsigned char* const room = new_value(node, type, size, row.tags.decode);
  if (room == nullptr) return OX_ENOMEM;
  if (size != 0) std::memcpy(room, bytes, size);
  return OX_OK;
}

template <class Number>
OX_RESULT take(Reader& reader, const Field<Number>& row, dnode& node) noexcept {
  return reader.take(node.*row.member) ? OX_OK : OX_ETRUNCATED;
}

OX_RESULT take_node(Reader& reader, dnode& node) noexcept {
  std::uint16_t present = 0;
  if (!reader.take(present)) return OX_ETRUNCATED;
  OX_RESULT result = OX_OK;
  every_field([&](const auto& field) {
    if ((present & field.bit) == 0) return true;
    result = take(reader, field, node);
    if (result != OX_OK) return false;
    node.present |= field.bit;
    return true;
  });
  return result;
}

OX_RESULT decode(const void* data, std::uint32_t length, dnode** list) noexcept {
  Reader reader(data, length);
  dnode* head = nullptr;
  while (reader.remaining() != 0) {
    dnode_ptr node = make_dnode();
    const OX_RESULT result = node ? take_node(reader, *node) : OX_RESULT{OX_ENOMEM};
    if (result != OX_OK) {
      (void)oxdFree(head);
      return result;
    }
    (void)oxcQueueAdd(&head, node.release());
  }
  *list = head;
  return OX_OK;
}

}  // namespace
}  // namespace ox::data

using namespace ox;
using namespace ox::data;

OX_RESULT OX_CALL oxdEncode(const dnode* list, void** buffer, uint32_t* length) {
  OX_ENTRY("oxdEncode", ":%x", trace::word(list));
  return traced("oxdEncode", [&] {
    if (list == nullptr) return OX_RESULT{OX_OK};
    if (buffer == nullptr || length == nullptr) return OX_RESULT{OX_EARG};
    return encode(list, buffer, length);
  });
}

OX_RESULT OX_CALL oxdDecode(const void* data, uint32_t length, dnode** list) {
  OX_ENTRY("oxdDecode", ":%x:%u", trace::word(data), length);
  return traced("oxdDecode", [&] {
    if (list == nullptr || (data == nullptr && length > 0)) return OX_RESULT{OX_EARG};
    return decode(data, length, list);
  });
}
