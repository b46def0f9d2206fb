// What the manager keeps of its log, data and command entries, in tables.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/moment.h"
#include "tools/rows.h"

namespace tool {

enum class Kind : std::uint8_t { text, number, time, word };

// An attribute of a family of entries.
struct Field {
  const char* path;
  const char* title;
  const char* key;
  Kind kind = Kind::text;
  bool listed = false;          // also in the table of all
  std::string_view words = {};  // of a number: "0 stopped|1 running"
};

struct Family {
  const char* type;   // "logEnt"
  const char* paths;  // of its attributes, as a get takes them
  const char* id;     // the path of the entries' numbers; "": they stand by name
  std::span<const Field> fields;
  const char* lister = "";  // the command that shows them all
};

// An entry's attributes, by path.
struct Entry {
  std::string name;
  std::map<std::string, Cell> values;
  [[nodiscard]] std::uint32_t number(const char* path) const;  // 0 where there is none
  [[nodiscard]] std::string text(const char* path) const;
};

// The name alone: "logEnt:traffic" is "traffic".
[[nodiscard]] std::string bare_name(const Family& family, const std::string& name);

// All entries in the order of their numbers; one. Throw Failure, of one that is not there with the next step.
[[nodiscard]] std::vector<Entry> entries(const char* manager, const Family& family);
[[nodiscard]] Entry entry(const char* manager, const Family& family, const std::string& name);

// Their table; one of them with all its fields, and others behind them.
void print_entries(Form form, const oxcZone* zone, const Family& family, const std::vector<Entry>& all);
struct More {
  Column column;
  Cell cell;
};
void print_entry(Form form, const oxcZone* zone, const Family& family, const Entry& one,
                 const std::vector<More>& more = {});
// A field as it is shown.
[[nodiscard]] Cell shown_field(const oxcZone* zone, const Field& field, const Entry& entry);

// A ledger that the manager keeps of an entry: rows of cells by column, both by the numbers behind the path. Throws
// Failure, OX_EAMIBNAME of an installation whose definitions are older. `doing` is what progress tells; null: nothing.
using Ledger = std::map<std::uint32_t, std::map<std::uint32_t, Cell>>;
[[nodiscard]] Ledger ledger(const char* manager, const std::string& component, const std::string& path,
                            const oxaSelection& selection, const char* doing = "asking the manager");

// The word of a number in "0 stopped|1 running"; the number where it has none.
[[nodiscard]] std::string word_of(std::string_view words, const std::string& number);

// One value of a node: a number, or the text.
[[nodiscard]] Cell cell_of(dnode* node);

}  // namespace tool
