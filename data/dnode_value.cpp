// Values in their stored forms.
#include <array>
#include <cstring>

#include "common/bytes.h"
#include "common/pointer_result.h"
#include "common/trace.h"
#include "data/dnode_fields.h"
#include "data/value_types.h"

namespace ox::data {
namespace {

constexpr std::uint32_t ipx_size = 10;

// Copies `size` bytes, followed by `zeros` zero bytes. 1 for null bytes of a size over 0.
OX_RESULT store(const void* bytes, std::uint32_t size, std::uint32_t zeros, ParsedValue& value) noexcept {
  if (bytes == nullptr && size > 0) return OX_EARG;
  if (size > UINT32_MAX - zeros) return OX_ENOMEM;
  auto block = make_tracked_array<unsigned char>(size + zeros, zeros == 0 ? fields::value.tags.set : "dn_value_018");
  if (!block) return OX_ENOMEM;
  if (size > 0) std::memcpy(block.get(), bytes, size);
  if (zeros > 0) std::memset(block.get() + size, 0, zeros);
  value = {std::move(block), size};
  return OX_OK;
}

const void* pointer(std::uintptr_t value) noexcept { return reinterpret_cast<const void*>(value); }

// The stored form of the arguments that oxdSetValue takes.
using Store = OX_RESULT (*)(std::uintptr_t value, std::uint32_t size, ParsedValue& made) noexcept;

OX_RESULT store_number(std::uintptr_t value, std::uint32_t, ParsedValue& made) noexcept {
  const std::uint32_t word = big_endian(static_cast<std::uint32_t>(value));
  return store(&word, sizeof word, 0, made);
}

OX_RESULT store_address(std::uintptr_t value, std::uint32_t, ParsedValue& made) noexcept {
  const auto word = static_cast<std::uint32_t>(value);
  return store(&word, sizeof word, 0, made);
}

OX_RESULT store_bytes(std::uintptr_t value, std::uint32_t size, ParsedValue& made) noexcept {
  return store(pointer(value), size, 0, made);
}

OX_RESULT store_terminated(std::uintptr_t value, std::uint32_t size, ParsedValue& made) noexcept {
  return store(pointer(value), size, 1, made);
}

OX_RESULT store_text(std::uintptr_t value, std::uint32_t, ParsedValue& made) noexcept {
  const char* text = value != 0 ? static_cast<const char*>(pointer(value)) : "";
  const std::size_t size = std::strlen(text) + 1;
  return size <= UINT32_MAX ? store(text, static_cast<std::uint32_t>(size), 0, made) : OX_RESULT{OX_ENOMEM};
}

OX_RESULT store_mark(std::uintptr_t, std::uint32_t, ParsedValue& made) noexcept { return store("", 1, 0, made); }

OX_RESULT store_number64(std::uintptr_t low, std::uint32_t high, ParsedValue& made) noexcept {
  const std::uint64_t number = std::uint64_t{high} << 32 | static_cast<std::uint32_t>(low);
  const std::uint64_t word = big_endian(number);
  return store(&word, sizeof word, 0, made);
}

OX_RESULT store_ipx(std::uintptr_t value, std::uint32_t, ParsedValue& made) noexcept {
  return store(pointer(value), ipx_size, 0, made);
}

// Indexed by stored form.
constexpr std::array<Store, 9> stores{nullptr,    store_number, store_address,  store_bytes, store_terminated,
                                      store_text, store_mark,   store_number64, store_ipx};
static_assert(stores[static_cast<std::size_t>(Stored::ipx)] == store_ipx);

template <class Number>
OX_RESULT get_number(const dnode* node, Number* out) noexcept {
  if (node == nullptr || out == nullptr) return OX_EARG;
  if (!node->has(bit::value)) return OX_ENOVALUE;
  return Reader(node->value.bytes, node->value.size).take(*out) ? OX_OK : OX_EFORMAT;
}

OX_RESULT get_value(const dnode* node, std::uint32_t* type, std::uint32_t* size, const void** value) noexcept {
  if (node == nullptr) return OX_EARG;
  if (!node->has(bit::value)) return OX_ENOVALUE;
  if (type != nullptr) *type = node->value.type;
  if (size != nullptr) *size = node->value.size;
  if (value != nullptr) *value = node->value.bytes;
  return OX_OK;
}

}  // namespace

unsigned char* new_value(dnode& node, std::uint32_t type, std::uint32_t size, const char* tag) noexcept {
  // CodeString gets no zero: it is read by its size alone.
  const bool zero = type == OX_OCTETSTRING || value_type(type).stored == Stored::text;
  const bool inside = size < value_room || (size == value_room && !zero);
  if (zero && size == UINT32_MAX) return nullptr;
  auto* const room = inside ? node.value_room : static_cast<unsigned char*>(oxcMemAlloc(size + zero, tag));
  if (room == nullptr) return nullptr;
  if (zero) room[size] = 0;
  node.value = {room, size, type};
  node.present |= bit::value;
  return room;
}

void take_value(dnode& node, std::uint32_t type, std::uint32_t size, tracked_ptr<unsigned char[]> bytes) noexcept {
  clear(node, fields::value);
  node.value = {bytes.release(), size, type};
  node.present |= bit::value;
}

OX_RESULT make_value(std::uint32_t type, std::uintptr_t value, std::uint32_t size, ParsedValue& made) noexcept {
  const Store make = stores[static_cast<std::size_t>(value_type(type).stored)];
  return make != nullptr ? make(value, size, made) : OX_RESULT{OX_EVALUETYPE};
}

OX_RESULT set_value(dnode& node, std::uint32_t type, std::uintptr_t value, std::uint32_t size) noexcept {
  ParsedValue made;
  if (const OX_RESULT result = make_value(type, value, size, made); result != OX_OK) return result;
  take_value(node, type, made.size, std::move(made.bytes));
  return OX_OK;
}

OX_RESULT set_bytes(dnode& node, std::uint32_t type, const void* bytes, std::uint32_t size) noexcept {
  return set_value(node, type, reinterpret_cast<std::uintptr_t>(bytes), size);
}

}  // namespace ox::data

using namespace ox;
using namespace ox::data;

OX_RESULT OX_CALL oxdSetValue(dnode* node, uint32_t type, uintptr_t value, uint32_t size) {
  OX_ENTRY("oxdSetValue", ":%x:%u:%x:%u", trace::word(node), type, static_cast<uint32_t>(value), size);
  return traced("oxdSetValue",
                [&] { return node != nullptr ? set_value(*node, type, value, size) : OX_RESULT{OX_EARG}; });
}

OX_RESULT OX_CALL oxdSetRawValue(dnode* node, uint32_t type, uint32_t size, void* value) {
  OX_ENTRY("oxdSetRawValue", ":%x:%u:%u:%x", trace::word(node), type, size, trace::word(value));
  return traced("oxdSetRawValue", [&] {
    if (node == nullptr || (value == nullptr && size > 0)) return OX_EARG;
    if (value != nullptr && node->value.bytes == value) {  // its own under another type or size
      node->value.type = type;
      node->value.size = size;
    } else {
      take_value(*node, type, size, tracked_ptr<unsigned char[]>(static_cast<unsigned char*>(value)));
    }
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxdGetValue(const dnode* node, uint32_t* type, uint32_t* size, const void** value) {
  OX_ENTRY("oxdGetValue", ":%x", trace::word(node));
  return traced("oxdGetValue", [&] { return get_value(node, type, size, value); });
}

int32_t OX_CALL oxdGetValueType(const dnode* node) {
  OX_ENTRY("oxdGetValueType", ":%x", trace::word(node));
  return traced_number("oxdGetValueType",
                       node != nullptr && node->has(bit::value) ? static_cast<int32_t>(node->value.type) : -1);
}

int32_t OX_CALL oxdGetValueSize(const dnode* node) {
  OX_ENTRY("oxdGetValueSize", ":%x", trace::word(node));
  return traced_number("oxdGetValueSize",
                       node != nullptr && node->has(bit::value) ? static_cast<int32_t>(node->value.size) : -1);
}

const void* OX_CALL oxdGetValueValue(const dnode* node) {
  OX_ENTRY("oxdGetValueValue", ":%x", trace::word(node));
  return traced_pointer("oxdGetValueValue", [&]() -> const void* {
    return node != nullptr && node->has(bit::value) ? node->value.bytes : nullptr;
  });
}

OX_RESULT OX_CALL oxdGetValueByLong(const dnode* node, int32_t* value) {
  OX_ENTRY("oxdGetValueByLong", ":%x", trace::word(node));
  return traced("oxdGetValueByLong", [&] {
    uint32_t word = 0;
    const OX_RESULT result = get_number(node, value != nullptr ? &word : nullptr);
    if (result == OX_OK) *value = static_cast<int32_t>(word);
    return result;
  });
}

OX_RESULT OX_CALL oxdGetValueByUlong(const dnode* node, uint32_t* value) {
  OX_ENTRY("oxdGetValueByUlong", ":%x", trace::word(node));
  return traced("oxdGetValueByUlong", [&] { return get_number(node, value); });
}

OX_RESULT OX_CALL oxdGetValueByUlonglong(const dnode* node, uint64_t* value) {
  OX_ENTRY("oxdGetValueByUlonglong", ":%x", trace::word(node));
  return traced("oxdGetValueByUlonglong", [&] { return get_number(node, value); });
}
