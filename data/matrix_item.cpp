// The items of collected data, in both directions. docs/protocol.md has their bytes.
#include <cstring>

#include "common/memory.h"
#include "common/trace.h"
#include "data/matrix.h"

namespace ox::data {
namespace {

constexpr std::uint32_t longest = 0xFFFF;  // of what stands behind a 16-bit length

bool is_text(std::uint32_t kind) noexcept {
  return kind == OXD_MATRIX_COMPONENT || kind == OXD_MATRIX_AMIB || kind == OXD_MATRIX_INDEX;
}

// Encoded bytes of an item. 195 for an unknown kind; 1 for one that has no encoding.
OX_RESULT size_of(const oxdMatrixItem& item, std::uint32_t& size) noexcept {
  if (item.kind == OXD_MATRIX_TIME) return size = 10, OX_OK;
  const bool cell = item.kind == OXD_MATRIX_CELL;
  if (!cell && !is_text(item.kind)) return OX_EMISSING;
  if (item.data == nullptr && (item.length != 0 || !cell)) return OX_EARG;
  const std::size_t length = cell ? item.length : std::strlen(static_cast<const char*>(item.data)) + 1;
  if (length > longest) return OX_EARG;
  size = static_cast<std::uint32_t>(length) + (cell ? 32 : 8);
  return OX_OK;
}

void put_item(Writer& out, const oxdMatrixItem& item, std::uint32_t size) noexcept {
  const auto put_bytes = [&](std::uint32_t length) {
    out.put(static_cast<std::uint16_t>(length));
    out.put_bytes(item.data, length);
  };
  out.put(static_cast<std::uint16_t>(item.kind));
  if (item.kind != OXD_MATRIX_CELL) {
    out.put(item.number);
    return item.kind == OXD_MATRIX_TIME ? out.put(item.timeValue) : put_bytes(size - 8);
  }
  for (const std::uint32_t word : {item.component, item.amib, item.index, item.time, item.type, item.status}) {
    out.put(word);
  }
  out.put(item.length);
  put_bytes(item.length);
}

OX_RESULT encode(const oxdMatrixItem* item, void** buffer, std::uint32_t* length) {
  if (item == nullptr || buffer == nullptr || length == nullptr) return OX_EARG;
  std::uint32_t size = 0;
  if (const OX_RESULT result = size_of(*item, size)) return result;
  auto block = make_tracked_array<unsigned char>(size, "oxdMatrixEncode");
  if (!block) return OX_ENOMEM;
  Writer out(block.get(), size);
  put_item(out, *item, size);
  out.finish();
  *buffer = block.release();
  *length = size;
  return OX_OK;
}

OX_RESULT decode(const void* data, std::uint32_t length, oxdMatrixItem** item, std::uint32_t* used) {
  if (data == nullptr || item == nullptr || used == nullptr) return OX_EARG;
  Reader in(data, length);
  oxdMatrixItem found{};
  if (const OX_RESULT result = take_item(in, found)) return result;
  if (const OX_RESULT result = keep_item(found, *item)) return result;
  *used = length - static_cast<std::uint32_t>(in.remaining());
  return OX_OK;
}

// A length and as many bytes. Empty bytes have a place, too.
bool take_bytes(Reader& in, oxdMatrixItem& item, std::uint16_t& length) noexcept {
  const unsigned char* bytes = nullptr;
  if (!in.take(length) || !in.take_bytes(length, bytes)) return false;
  item.data = const_cast<unsigned char*>(bytes);
  return true;
}

bool take_text(Reader& in, oxdMatrixItem& item) noexcept {
  std::uint16_t length = 0;
  if (!in.take(item.number) || !take_bytes(in, item, length) || length == 0) return false;
  item.length = length;
  return std::memchr(item.data, 0, length) == static_cast<unsigned char*>(item.data) + length - 1;
}

bool take_cell(Reader& in, oxdMatrixItem& item) noexcept {
  for (std::uint32_t* const word :
       {&item.component, &item.amib, &item.index, &item.time, &item.type, &item.status, &item.length}) {
    if (!in.take(*word)) return false;
  }
  std::uint16_t length = 0;
  return take_bytes(in, item, length) && length == item.length;
}

}  // namespace

OX_RESULT take_item(Reader& in, oxdMatrixItem& item) noexcept {
  std::uint16_t kind = 0;
  item = {};
  if (!in.take(kind)) return OX_EARG;
  item.kind = kind;
  bool good = false;
  if (is_text(kind)) good = take_text(in, item);
  if (kind == OXD_MATRIX_TIME) good = in.take(item.number) && in.take(item.timeValue);
  if (kind == OXD_MATRIX_CELL) good = take_cell(in, item);
  return good ? OX_OK : OX_EARG;
}

OX_RESULT keep_item(const oxdMatrixItem& found, oxdMatrixItem*& kept) noexcept {
  const std::uint32_t length = found.data != nullptr ? found.length : 0;
  if (length > UINT32_MAX - sizeof found) return OX_ENOMEM;
  void* const block = oxcMemAlloc(static_cast<std::uint32_t>(sizeof found) + length, "oxdMatrixItem");
  if (block == nullptr) return OX_ENOMEM;
  kept = new (block) oxdMatrixItem(found);
  kept->data = kept + 1;
  if (length != 0) std::memcpy(kept->data, found.data, length);
  return OX_OK;
}

}  // namespace ox::data

using namespace ox;

OX_RESULT OX_CALL oxdMatrixEncode(const oxdMatrixItem* item, void** buffer, uint32_t* length) {
  OX_ENTRY("oxdMatrixEncode", ":%x", trace::word(item));
  return traced("oxdMatrixEncode", [&] { return data::encode(item, buffer, length); });
}

OX_RESULT OX_CALL oxdMatrixDecode(const void* data, uint32_t length, oxdMatrixItem** item, uint32_t* used) {
  OX_ENTRY("oxdMatrixDecode", ":%x:%u", trace::word(data), length);
  return traced("oxdMatrixDecode", [&] { return ox::data::decode(data, length, item, used); });
}

OX_RESULT OX_CALL oxdMatrixItemFree(oxdMatrixItem* item) {
  OX_ENTRY("oxdMatrixItemFree", ":%x", trace::word(item));
  return traced("oxdMatrixItemFree",
                [&]() -> OX_RESULT { return item != nullptr ? oxcMemFree(item) : OX_RESULT{OX_OK}; });
}
