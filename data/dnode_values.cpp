#include "data/dnode_values.h"

#include "common/bytes.h"
#include "data/dnode_fields.h"

namespace ox::data {
namespace {

struct Seen {
  std::string_view path;
  std::span<const unsigned char> value;
};

bool pass(Reader& reader, const Field<Text>& row, Seen& seen) noexcept {
  std::uint16_t size = 0;
  const unsigned char* bytes = nullptr;
  if (!reader.take(size) || !reader.take_bytes(size, bytes)) return false;
  if (row.bit == bit::amib_name) seen.path = {reinterpret_cast<const char*>(bytes), size};
  return true;
}

bool pass(Reader& reader, const Field<Value>&, Seen& seen) noexcept {
  std::uint16_t type = 0;
  std::uint32_t size = 0;
  const unsigned char* bytes = nullptr;
  if (!reader.take(type) || !reader.take(size) || !reader.take_bytes(size, bytes)) return false;
  seen.value = {bytes, size};
  return true;
}

template <class Number>
bool pass(Reader& reader, const Field<Number>&, Seen&) noexcept {
  Number number{};
  return reader.take(number);
}

}  // namespace

void every_value(std::span<const unsigned char> list,
                 const std::function<void(std::string_view path, std::span<const unsigned char> value)>& visit) {
  Reader reader(list.data(), list.size());
  std::uint16_t present = 0;
  while (reader.take(present)) {
    Seen seen;
    const bool whole =
        every_field([&](const auto& field) { return (present & field.bit) == 0 || pass(reader, field, seen); });
    if (!whole) return;
    if (!seen.value.empty()) visit(seen.path, seen.value);
  }
}

}  // namespace ox::data
