// Records that mirror a component of the manager. A family names its attributes once, as the rows of a table; reading
// from an answer, the nodes of a set, copies and release are loops over the rows.
#pragma once

#include <cstddef>
#include <span>
#include <type_traits>

#include "data/field_kinds.h"
#include "entries/requests.h"
#include "entries/text_list.h"

namespace ox::entries {

using field::Number;
using field::Text;

enum class Kind : std::uint8_t { number, text, list };
template <class Member>
inline constexpr Kind kind_of = std::is_same_v<Member, Number> ? Kind::number
                                : std::is_same_v<Member, Text> ? Kind::text
                                                               : Kind::list;

struct Row {
  // Numeric, of the one instance; of a list what stands before the numbers of its texts, "11.30.4.1" for 11.30.4.1.N.
  // Null for what the record keeps for itself.
  const char* path;
  std::uint32_t type;    // value type with which it is written
  std::uint32_t change;  // its bit of a change mask; 0: never written
  Kind kind;             // of the member
  std::size_t offset;    // of the member
  const char* tag;       // of the blocks of a text
};
using Table = std::span<const Row>;

// The row of a member: row<offsetof(LogEntry, title), decltype(LogEntry::title)>(...).
template <std::size_t offset, class Member>
[[nodiscard]] constexpr Row row(const char* path, std::uint32_t type, std::uint32_t change, const char* tag) noexcept {
  static_assert(kind_of<Member> != Kind::list || std::is_same_v<Member, TextList>);
  return {path, type, change, kind_of<Member>, offset, tag};
}

// Stores the values of an answer whose paths are those of rows. Other nodes are passed over, as are values that have no
// text, are no numbers. 0; 3; `without_path`, if not 0, at a node that has no path.
[[nodiscard]] OX_RESULT read_values(void* record, Table table, const dnode* answer, OX_RESULT without_path);

// Appends the nodes of the rows whose bit is in `changes`, in the table's order. 0; 3; 59.
[[nodiscard]] OX_RESULT append_values(Nodes& nodes, const void* record, Table table, std::uint32_t changes);

// The bits of the rows that hold something: numbers, and texts and lists that are there.
[[nodiscard]] std::uint32_t given_values(const void* record, Table table) noexcept;

// Gives each member of the rows a copy of the other record's. 3, with `to` as far as it got.
[[nodiscard]] OX_RESULT copy_values(const void* from, void* to, Table table);

// What one member holds: how many values, numbers one; a text of it, the n-th of a list from 0, null where there is
// none or no text. A text is given a copy of another one, the n-th of a list, too: 0; 3; 1 for a row that is no text,
// another number than 0 of one text, or one that no list has.
[[nodiscard]] std::uint32_t count_values(const void* record, const Row& row) noexcept;
[[nodiscard]] const char* text_at(const void* record, const Row& row, std::uint32_t at) noexcept;
[[nodiscard]] OX_RESULT put_text_at(void* record, const Row& row, std::uint32_t at, const char* text) noexcept;

// Releases what the members own.
void clear_values(void* record, Table table) noexcept;

// The bodies of accessors; `missing` is the result for a null argument. `out` is left as it was then.
template <class Record, class Member>
[[nodiscard]] OX_RESULT get_member(const Record* record, Member Record::*member,
                                   typename field::Access<Member>::Out out, OX_RESULT missing) noexcept {
  if (record == nullptr || out == nullptr) return missing;
  field::give(record->*member, out);
  return OX_OK;
}

}  // namespace ox::entries
