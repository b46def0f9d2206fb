#include "manager/storage/salvage.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

#include "manager/storage/readable.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t application = 0x4F584253;  // "OXBS"
constexpr std::uint32_t format = 1;
constexpr std::size_t page_size = 4096;
constexpr std::size_t page_count_at = 28;  // in the file's first page
constexpr std::uint64_t rows_of_transaction = 10000;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

File open_stream(const std::string& path, const char* mode) { return {std::fopen(path.c_str(), mode), std::fclose}; }

bool copy_file(const std::string& from, const std::string& to, const std::atomic<bool>& ending) {
  const File in = open_stream(from, "rb");
  if (!in) return true;  // nothing to copy
  if (platform::make_private_file(to.c_str()) != platform::error_none) return false;
  const File out = open_stream(to, "r+b");
  std::array<char, 65536> piece{};
  while (out && !ending) {
    const std::size_t count = std::fread(piece.data(), 1, piece.size(), in.get());
    if (count == 0) return std::fflush(out.get()) == 0;
    if (std::fwrite(piece.data(), 1, count, out.get()) != count) return false;
  }
  return false;
}

// The first page says which tables there are and on which page each begins: the same for all databases of these tables,
// but for the number of pages.
bool mend_first_page(const std::string& file, const std::string& model) {
  platform::FileAttributes attributes;
  const File from = open_stream(model, "rb");
  const File to = open_stream(file, "r+b");
  std::array<unsigned char, page_size> page{};
  if (!from || !to || platform::file_attributes(file.c_str(), attributes) != platform::error_none) return false;
  if (std::fread(page.data(), 1, page.size(), from.get()) != page.size()) return false;
  auto pages = static_cast<std::uint32_t>(attributes.size / page_size);
  for (std::size_t i = 4; i-- > 0; pages >>= 8) page[page_count_at + i] = static_cast<unsigned char>(pages);
  return std::fwrite(page.data(), 1, page.size(), to.get()) == page.size() && std::fflush(to.get()) == 0;
}

// Copies the rows of one table.
class TableCopy {
 public:
  TableCopy(Connection& from, Connection& to, const Table& table, const std::atomic<bool>& ending)
      : to_(to),
        ending_(ending),
        columns_(static_cast<int>(table.columns.size())),
        select_(from, select_text(table, key_from(table))),
        put_(to, put_text(table)) {}

  // False when the new file does not take them, or it is to end.
  bool copy() {
    if (to_.run("BEGIN") != Outcome::done) return false;
    while (read_on() != Outcome::done && written_) {
      if (!skip_damage()) break;
    }
    return to_.run("COMMIT") == Outcome::done && written_;
  }
  [[nodiscard]] std::uint64_t rows() const { return rows_; }

 private:
  static std::string key_from(const Table& table) {
    const std::string key(table.columns[0]);
    return "WHERE " + key + " >= ? ORDER BY " + key;
  }
  Outcome read_on() {
    return select_.begin().with(next_).rows([&](const Row& row) {
      if (row.number(columns_) != 0) put(row);
      next_ = std::max(next_, row.number(0) + 1);
      return written_;
    });
  }
  void put(const Row& row) {
    put_.begin();
    for (int column = 0; column < columns_; ++column) put_.with(row, column);
    written_ = put_.run() == Outcome::done && !ending_;
    if (++rows_ % rows_of_transaction == 0) written_ = to_.run("COMMIT; BEGIN") == Outcome::done && written_;
  }
  // The row from that key on, if there is one, reads.
  bool reads(std::uint64_t key) {
    return select_.begin().with(key).rows([](const Row&) { return false; }) == Outcome::done;
  }
  bool skip_damage() {
    const auto readable = next_readable(next_, [this](std::uint64_t key) { return reads(key); });
    if (readable) next_ = *readable;
    return readable.has_value();
  }

  Connection& to_;
  const std::atomic<bool>& ending_;
  int columns_;
  Statement select_;
  Statement put_;
  std::uint64_t next_ = 0;
  std::uint64_t rows_ = 0;
  bool written_ = true;
};

// Opens a copy, so that opening changes nothing; with another first page when its own does not read.
bool open_source(Connection& source, const std::string& file, const std::string& model, std::span<const Table> tables,
                 const std::atomic<bool>& ending) {
  const std::string copy = file + ".source";
  if (!copy_file(file, copy, ending) || !copy_file(file + "-wal", copy + "-wal", ending)) return false;
  if (source.open(copy, Durability::process) == Outcome::done && schema_of(source) == expected_schema(tables)) {
    return true;
  }
  source.close();
  return mend_first_page(copy, model) && source.open(copy, Durability::process) == Outcome::done;
}

std::optional<RowCount> kept_count(Connection& source, std::size_t table) {
  std::optional<RowCount> count;
  const auto sound = static_cast<int>(count_columns.size());
  (void)Statement(source, select_text(count_table, "WHERE id = ?")).begin().with(table).rows([&](const Row& row) {
    if (row.number(sound) != 0) count = {row.number(sound - 2), row.number(sound - 1)};
    return false;
  });
  return count;
}

// Of the keys behind that one.
RowCount count_behind(Connection& made, const Table& table, std::uint64_t key) {
  RowCount count;
  (void)Statement(made, newest_text(table)).begin().with(key).rows([&](const Row& row) {
    count = {row.number(1), row.number(0)};
    return false;
  });
  return count;
}

bool put_count(Connection& made, std::span<const Table> tables, std::size_t table, const RowCount& count) {
  Statement put(made, put_text(count_table));
  return put.begin().with(table).with(tables[table].name).with(count.up_to).with(count.rows).run() == Outcome::done;
}

// The marks of the file, the tables, and that none has rows.
bool make_tables(Connection& made, std::span<const Table> tables) {
  std::string text = "PRAGMA application_id = " + std::to_string(application) +
                     "; PRAGMA user_version = " + std::to_string(format) + "; BEGIN IMMEDIATE";
  for (const Table& table : tables) text += "; " + create_text(table);
  if (made.run((text + "; COMMIT").c_str()) != Outcome::done) return false;
  for (std::size_t i = 0; i + 1 < tables.size(); ++i) {
    if (!put_count(made, tables, i, {})) return false;
  }
  return made.run("PRAGMA wal_checkpoint(TRUNCATE)") == Outcome::done;
}

bool open_new(Connection& made, const std::string& file, std::span<const Table> tables) {
  return platform::make_private_file(file.c_str()) == platform::error_none &&
         made.open(file, Durability::process) == Outcome::done && make_tables(made, tables);
}

// Everything is in the file itself.
void remove_log(const std::string& file) {
  for (const char* tail : {"-wal", "-shm"}) (void)platform::remove_file((file + tail).c_str());
}

// What cannot be opened at all has no rows.
bool copy_tables(Connection& source, Connection& made, std::span<const Table> tables, std::vector<Saved>& saved,
                 const std::atomic<bool>& ending) {
  for (std::size_t i = 0; i + 1 < tables.size(); ++i) {
    std::optional<RowCount> kept;
    if (source.is_open()) {
      kept = kept_count(source, i);
      TableCopy copy(source, made, tables[i], ending);
      if (!copy.copy()) return false;
    }
    Saved one{.rows = count_behind(made, tables[i], 0).rows};
    if (kept) one.expected = kept->rows + count_behind(made, tables[i], kept->up_to).rows;
    saved.push_back(one);
  }
  return true;
}

// In one transaction.
bool mend_tables(Connection& made, const Mend& mend) {
  if (!mend) return true;
  return made.run("BEGIN") == Outcome::done && mend(made) && made.run("COMMIT") == Outcome::done;
}

bool count_tables(Connection& made, std::span<const Table> tables) {
  for (std::size_t i = 0; i + 1 < tables.size(); ++i) {
    if (!put_count(made, tables, i, count_behind(made, tables[i], 0))) return false;
  }
  return made.run("PRAGMA wal_checkpoint(TRUNCATE)") == Outcome::done;
}

}  // namespace

void remove_database(const std::string& file) {
  for (const char* tail : {"", "-wal", "-shm"}) (void)platform::remove_file((file + tail).c_str());
}

bool make_database(const std::string& file, std::span<const Table> tables) {
  {
    Connection made;
    if (!open_new(made, file, tables)) return false;
  }
  remove_log(file);
  return true;
}

std::string schema_of(Connection& connection) {
  std::string text;
  Statement all(connection, "SELECT sql FROM sqlite_master ORDER BY rootpage");
  const Outcome outcome = all.begin().rows([&](const Row& row) {
    text += row.text(0) + ";";
    return true;
  });
  return outcome == Outcome::done ? text : "damaged";
}

std::string expected_schema(std::span<const Table> tables) {
  std::string text;
  for (const Table& table : tables) text += create_text(table) + ";";
  return text;
}

std::optional<std::vector<Saved>> salvage(const std::string& file, const std::string& into,
                                          std::span<const Table> tables, const Mend& mend,
                                          const std::atomic<bool>& ending) {
  remove_database(into);
  remove_database(file + ".source");
  std::vector<Saved> saved;
  bool good = false;
  {
    Connection made;
    Connection source;
    good = open_new(made, into, tables);
    if (good && !open_source(source, file, into, tables, ending)) source.close();
    good = good && copy_tables(source, made, tables, saved, ending) && mend_tables(made, mend) &&
           count_tables(made, tables) && !ending;
  }
  remove_database(file + ".source");
  if (!good) {
    remove_database(into);
    return {};
  }
  remove_log(into);
  return saved;
}

}  // namespace ox::manager
