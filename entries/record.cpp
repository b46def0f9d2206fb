#include "entries/record.h"

#include <algorithm>
#include <charconv>
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

// The number of the list's text that a path is of, 0 when it is of none.
Number number_in(std::string_view path, const Row& row) noexcept {
  const std::string_view base = row.path;
  Number number = 0;
  if (path.size() <= base.size() || !path.starts_with(base) || path[base.size()] != '.') return 0;
  const char* const end = path.data() + path.size();
  const auto read = std::from_chars(path.data() + base.size() + 1, end, number);
  return read.ptr == end && read.ec == std::errc{} ? number : 0;
}

bool is_of(std::string_view path, const Row& row) noexcept {
  if (row.path == nullptr) return false;
  return row.kind == Kind::list ? number_in(path, row) != 0 : path == row.path;
}

// Texts under numbers that no list has are passed over, too.
OX_RESULT read_text(void* record, const Row& row, const dnode& node) noexcept {
  const char* text = nullptr;
  OX_RESULT result = data::display_text(node, text);
  if (result == OX_OK && row.kind == Kind::text) return field::assign(member_of<Text>(record, row), text, row.tag);
  if (result == OX_OK) {
    result = put_text(member_of<TextList>(record, row), number_in(node.amib_name.text, row), text, row.tag);
  }
  return result == OX_ENOMEM ? result : OX_RESULT{OX_OK};
}

OX_RESULT read_value(void* record, const Row& row, const dnode& node) noexcept {
  if (row.kind != Kind::number) return read_text(record, row, node);
  (void)read_number(&node, member_of<Number>(record, row));
  return OX_OK;
}

OX_RESULT append_list(Nodes& nodes, const TextList& list, const Row& row) {
  OX_RESULT result = OX_OK;
  for (Number i = 0; i < list.count && result == OX_OK; ++i) {
    const std::string path = std::string(row.path) + '.' + std::to_string(i + 1);
    result = nodes.add(path.c_str(), field::view(list.texts[i]));
  }
  return result;
}

OX_RESULT append_value(Nodes& nodes, const void* record, const Row& row) {
  if (row.kind == Kind::number) return nodes.add(row.path, row.type, member_of<Number>(record, row));
  if (row.kind == Kind::list) return append_list(nodes, member_of<TextList>(record, row), row);
  return nodes.add(row.path, field::view(member_of<Text>(record, row)));
}

void clear_value(void* record, const Row& row) noexcept {
  if (row.kind == Kind::text) field::clear(member_of<Text>(record, row));
  if (row.kind == Kind::list) clear(member_of<TextList>(record, row));
  if (row.kind == Kind::number) member_of<Number>(record, row) = 0;
}

// A list's texts from the last one, which makes room for all.
OX_RESULT copy_value(const void* from, void* to, const Row& row) noexcept {
  clear_value(to, row);
  if (row.kind == Kind::number) {
    member_of<Number>(to, row) = member_of<Number>(from, row);
    return OX_OK;
  }
  OX_RESULT result = OX_OK;
  for (std::uint32_t at = count_values(from, row); at > 0 && result == OX_OK; --at) {
    result = put_text_at(to, row, at - 1, text_at(from, row, at - 1));
  }
  return result;
}

}  // namespace

OX_RESULT read_values(void* record, Table table, const dnode* answer, OX_RESULT without_path) {
  for (const dnode* node = answer; node != nullptr; node = oxdNext(node)) {
    if (!node->has(data::bit::amib_name)) {
      if (without_path != OX_OK) return without_path;
      continue;
    }
    const std::string_view path = node->amib_name.text;
    const auto row = std::find_if(table.begin(), table.end(), [&](const Row& r) { return is_of(path, r); });
    if (row == table.end()) continue;
    if (const OX_RESULT result = read_value(record, *row, *node)) return result;
  }
  return OX_OK;
}

OX_RESULT append_values(Nodes& nodes, const void* record, Table table, std::uint32_t changes) {
  for (const Row& row : table) {
    if ((row.change & changes) == 0) continue;
    if (const OX_RESULT result = append_value(nodes, record, row)) return result;
  }
  return OX_OK;
}

std::uint32_t given_values(const void* record, Table table) noexcept {
  std::uint32_t bits = 0;
  for (const Row& row : table) {
    if (count_values(record, row) != 0) bits |= row.change;
  }
  return bits;
}

std::uint32_t count_values(const void* record, const Row& row) noexcept {
  if (row.kind == Kind::list) return member_of<TextList>(record, row).count;
  return row.kind == Kind::number || member_of<Text>(record, row).text != nullptr ? 1 : 0;
}

const char* text_at(const void* record, const Row& row, std::uint32_t at) noexcept {
  if (row.kind == Kind::number || at >= count_values(record, row)) return nullptr;
  return row.kind == Kind::list ? field::view(member_of<TextList>(record, row).texts[at])
                                : field::view(member_of<Text>(record, row));
}

OX_RESULT put_text_at(void* record, const Row& row, std::uint32_t at, const char* text) noexcept {
  if (row.kind == Kind::list) return put_text(member_of<TextList>(record, row), at + 1, text, row.tag);
  if (row.kind == Kind::number || at != 0) return OX_EARG;
  return field::assign(member_of<Text>(record, row), text, row.tag);
}

OX_RESULT copy_values(const void* from, void* to, Table table) {
  for (const Row& row : table) {
    if (const OX_RESULT result = copy_value(from, to, row)) return result;
  }
  return OX_OK;
}

void clear_values(void* record, Table table) noexcept {
  for (const Row& row : table) clear_value(record, row);
}

}  // namespace ox::entries
