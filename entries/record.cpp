#include "entries/record.h"

#include <algorithm>
#include <string_view>

#include "data/value_texts.h"

namespace ox::entries {
namespace {

template <class Member>
Member& member_of(void* record, const Row& row) noexcept {
  return *reinterpret_cast<Member*>(static_cast<char*>(record) + row.offset);
}
template <class Member>
const Member& member_of(const void* record, const Row& row) noexcept {
  return *reinterpret_cast<const Member*>(static_cast<const char*>(record) + row.offset);
}

OX_RESULT read_text(Text& member, const dnode& node, const char* tag) noexcept {
  const char* text = nullptr;
  const OX_RESULT result = data::display_text(node, text);
  if (result == OX_OK) return field::assign(member, text, tag);
  return result == OX_ENOMEM ? result : OX_RESULT{OX_OK};
}

OX_RESULT read_value(void* record, const Row& row, const dnode& node) noexcept {
  if (row.is_text) return read_text(member_of<Text>(record, row), node, row.tag);
  (void)read_number(&node, member_of<Number>(record, row));
  return OX_OK;
}

}  // namespace

OX_RESULT read_values(void* record, Table table, const dnode* answer, OX_RESULT without_path) {
  for (const dnode* node = answer; node != nullptr; node = oxdNext(node)) {
    if (!node->has(data::bit::amib_name)) {
      if (without_path != OX_OK) return without_path;
      continue;
    }
    const std::string_view path = node->amib_name.text;
    const auto row =
        std::find_if(table.begin(), table.end(), [&](const Row& r) { return r.path != nullptr && path == r.path; });
    if (row == table.end()) continue;
    if (const OX_RESULT result = read_value(record, *row, *node)) return result;
  }
  return OX_OK;
}

OX_RESULT append_values(Nodes& nodes, const void* record, Table table, std::uint32_t changes) {
  for (const Row& row : table) {
    if ((row.change & changes) == 0) continue;
    const OX_RESULT result = row.is_text ? nodes.add(row.path, field::view(member_of<Text>(record, row)))
                                         : nodes.add(row.path, row.type, member_of<Number>(record, row));
    if (result != OX_OK) return result;
  }
  return OX_OK;
}

std::uint32_t given_values(const void* record, Table table) noexcept {
  std::uint32_t bits = 0;
  for (const Row& row : table) {
    if (!row.is_text || member_of<Text>(record, row).text != nullptr) bits |= row.change;
  }
  return bits;
}

OX_RESULT copy_values(const void* from, void* to, Table table) {
  for (const Row& row : table) {
    if (!row.is_text) {
      member_of<Number>(to, row) = member_of<Number>(from, row);
    } else if (const OX_RESULT result =
                   field::assign(member_of<Text>(to, row), field::view(member_of<Text>(from, row)), row.tag)) {
      return result;
    }
  }
  return OX_OK;
}

void clear_values(void* record, Table table) noexcept {
  for (const Row& row : table) {
    if (row.is_text) {
      field::clear(member_of<Text>(record, row));
    } else {
      field::clear(member_of<Number>(record, row));
    }
  }
}

}  // namespace ox::entries
