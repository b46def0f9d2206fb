#include "manager/components/file.h"

#include <algorithm>
#include <array>
#include <new>

#include "manager/base/paths.h"

namespace ox::manager {
namespace {

constexpr std::array<std::string_view, 3> component_columns{"id", "type", "name"};
constexpr std::array<std::string_view, 5> value_columns{"id", "component", "path", "type", "bytes"};
constexpr std::array<std::string_view, 4> relation_columns{"id", "name", "source", "destination"};
constexpr std::array all_tables{Table{"components", component_columns}, Table{"attributes", value_columns},
                                Table{"relations", relation_columns}};
constexpr char keep_pages[] = "PRAGMA cache_size = -65536";  // KiB: as a rule those of all values
constexpr std::size_t spare_size = 1u << 20;
using Clock = std::chrono::steady_clock;
enum : std::size_t { components_table, values_table, relations_table };

// `put` takes a row: its table, its key, the other columns. `row_of` gives the row of a component.
template <class RowOf, class Put>
void put_change(const Change& change, const RowOf& row_of, const Put& put) {
  const auto& [kind, component, path, value, relation, key] = change;
  if (kind == Change::Kind::add) {
    put(components_table, key, component.type, component.name);
  } else if (kind == Change::Kind::set) {
    put(values_table, key, row_of(component), oid_text(path), std::uint64_t{value.type},
        std::as_bytes(std::span(value.bytes)));
  } else {
    put(relations_table, key, relation.name, row_of(relation.from), row_of(relation.to));
  }
}

bool write_everything(const Store& store, Connection& made) {
  std::vector<Statement> statements;
  for (const Table& table : all_tables) statements.emplace_back(made, put_text(table));
  bool written = true;
  const auto put = [&](std::size_t table, std::uint64_t key, const auto&... values) {
    Statement& statement = statements[table].begin().with(key);
    (statement.with(values), ...);
    written = statement.run() == Outcome::done && written;
  };
  const auto row_of = [&store](const ComponentName& name) { return store.row(name).value_or(0); };
  store.each([&](const Change& change) { put_change(change, row_of, put); });
  return written;
}

}  // namespace

std::span<const Table> ComponentFile::tables() { return all_tables; }

ComponentFile::ComponentFile(const std::string& directory, Durability durability)
    : database_(join(directory, "components.db"), all_tables, durability),
      spare_(new (std::nothrow) std::byte[spare_size]) {}

bool ComponentFile::open(FaultSink faults) {
  const Outcome opened = database_.open(std::move(faults));
  damaged_ = opened == Outcome::damaged;
  return opened != Outcome::refused;
}

ComponentFile::Loading ComponentFile::load(Store& store, Clock::time_point until) {
  if (database_.is_away()) return Loading::more;
  if (!lost_ && (std::exchange(damaged_, false) || !read_on(store, until))) {
    lost_ = std::exchange(renewed_, true);
    if (!lost_) database_.renew([this](bool renewed) { lost_ = !renewed; });
    start_reading(store);
    return Loading::more;
  }
  if (lost_) return Loading::failed;
  if (reading_.table < all_tables.size()) return Loading::more;
  reading_ = {};
  return Loading::done;
}

void ComponentFile::start_reading(Store& store) {
  store = Store();
  reading_ = {};
  nobodys_.clear();
}

// False when a row does not read, or there are fewer than there were.
bool ComponentFile::read_on(Store& store, Clock::time_point until) {
  bool more = true;
  if (reading_.table == 0 && reading_.row == 0) (void)database_.connection().run(keep_pages);
  for (Reading& at = reading_; more && at.table < all_tables.size();) {
    Query query(database_, at.table, "WHERE id > ? ORDER BY id");
    const auto take = [&](const Row& row) {
      at.row = row.number(0);
      ++at.rows;
      take_row(store, row);
      return more = Clock::now() < until;
    };
    if (query.rows(take, at.row) != Outcome::done) return false;
    if (!more) break;
    if (at.rows != database_.rows(at.table)) return false;
    ++at.table;
    at.row = at.rows = 0;
  }
  return true;
}

void ComponentFile::take_row(Store& store, const Row& row) {
  last_row_ = std::max(last_row_, row.number(0));
  if (reading_.table == components_table) return take_component(store, row);
  if (reading_.table == values_table) return take_value(store, row);
  take_relation(store, row);
}

void ComponentFile::take_component(Store& store, const Row& row) {
  Change change;
  change.row = row.number(0);
  change.component = {row.text(1), row.text(2)};
  reading_.names[change.row] = change.component;
  store.apply(change);
}

// A value or a relation may be left of a component that has been removed, or was lost with a page, which was told.
void ComponentFile::take_value(Store& store, const Row& row) {
  const auto name = reading_.names.find(row.number(1));
  auto path = parse_oid(row.text(2));
  if (name == reading_.names.end() || !path) return is_nobodys(values_table, row);
  store.apply({.kind = Change::Kind::set,
               .component = name->second,
               .path = std::move(*path),
               .value = {row.word(3), row.text(4)},
               .row = row.number(0)});
}

void ComponentFile::take_relation(Store& store, const Row& row) {
  const auto from = reading_.names.find(row.number(2));
  const auto to = reading_.names.find(row.number(3));
  if (from == reading_.names.end() || to == reading_.names.end()) return is_nobodys(relations_table, row);
  store.apply(
      {.kind = Change::Kind::relate, .relation = {row.text(1), from->second, to->second}, .row = row.number(0)});
}

OX_RESULT ComponentFile::commit(Store& store, std::span<const Change> batch) {
  std::vector<Change> changes(batch.begin(), batch.end());
  bool safe = true;
  try {
    for (Change& change : changes) write(store, change);
  } catch (const std::bad_alloc&) {
    safe = false;
  }
  const OX_RESULT result = commit_changes(store, safe);
  if (result == OX_OK) take_in(store, changes);
  return result;
}

OX_RESULT ComponentFile::commit_changes(Store& store, bool ready) {
  fresh_.clear();
  fresh_values_.clear();
  if (database_.commit(ready)) return OX_OK;
  if (database_.is_damaged()) renew(store);
  return OX_EWRITE;
}

OX_RESULT ComponentFile::begin_removal(Store& store, const ComponentName& name) {
  const auto row = store.row(name);
  if (!row || Store::is_built_in(name)) return OX_OK;
  database_.erase(components_table, *row);
  return commit_changes(store, true);
}

// Rows that the disk does not give up are nobody's at the next start.
bool ComponentFile::remove_on(Store& store, const ComponentName& name, Clock::time_point until) {
  if (database_.is_away()) return false;
  bool more = true;
  bool ready = true;
  try {
    if (const auto row = store.row(name)) database_.erase(components_table, *row);  // it may have been written again
    for (auto part = store.part_of(name); part && more; part = store.part_of(name)) {
      write(store, *part);
      store.apply(*part);
      more = Clock::now() < until;
    }
  } catch (const std::bad_alloc&) {
    ready = false;
  }
  (void)commit_changes(store, ready);
  if (store.part_of(name)) return false;
  store.apply({.kind = Change::Kind::remove, .component = name});
  return true;
}

bool ComponentFile::clear_away(Clock::time_point until) {
  if (database_.is_away()) return false;
  for (bool more = true; more && !nobodys_.empty(); more = Clock::now() < until) {
    database_.erase(nobodys_.back().first, nobodys_.back().second);
    nobodys_.pop_back();
  }
  if (!database_.commit()) nobodys_.clear();  // the next start finds them again
  return nobodys_.empty();
}

// What did not read is still in memory, which does not change meanwhile.
void ComponentFile::renew(Store& store) {
  database_.renew([](bool) {}, [&store](Connection& made) { return write_everything(store, made); });
}

// What is written already finds memory that was set aside for it. Changes may be applied twice.
void ComponentFile::take_in(Store& store, std::span<const Change> changes) {
  const auto apply = [&] { std::for_each(changes.begin(), changes.end(), [&](const Change& c) { store.apply(c); }); };
  try {
    apply();
  } catch (const std::bad_alloc&) {
    spare_.reset();
    apply();
    spare_.reset(new (std::nothrow) std::byte[spare_size]);
  }
}

std::optional<std::uint64_t> ComponentFile::component_row(const Store& store, const ComponentName& name) const {
  const auto fresh = fresh_.find(name);
  return fresh != fresh_.end() ? fresh->second : store.row(name);
}

void ComponentFile::write(const Store& store, Change& change) {
  switch (change.kind) {
    case Change::Kind::add:
      if (component_row(store, change.component)) return;
      fresh_[change.component] = change.row = next_row();
      return put(store, change);
    case Change::Kind::remove:
      return;  // it goes in steps
    case Change::Kind::set:
    case Change::Kind::unset:
      return write_value(store, change);
    case Change::Kind::relate:
    case Change::Kind::unrelate:
      return write_relation(store, change);
  }
}

void ComponentFile::write_value(const Store& store, Change& change) {
  if (!component_row(store, change.component)) return;
  const Value* const stored = store.value(change.component, change.path);
  std::uint64_t& row = fresh_values_[{change.component, change.path}];
  if (row == 0 && stored != nullptr) row = stored->row;
  if (change.kind == Change::Kind::unset) {
    if (row != 0) database_.erase(values_table, row);
    return;
  }
  if (row == 0) row = next_row();
  change.row = row;
  put(store, change);
}

void ComponentFile::write_relation(const Store& store, Change& change) {
  const auto stored = store.row(change.relation);
  if (change.kind == Change::Kind::unrelate) {
    if (stored) database_.erase(relations_table, *stored);
    return;
  }
  if (stored || !component_row(store, change.relation.from) || !component_row(store, change.relation.to)) return;
  change.row = next_row();
  put(store, change);
}

// The components that it is about have their rows.
void ComponentFile::put(const Store& store, const Change& change) {
  put_change(
      change, [&](const ComponentName& name) { return component_row(store, name).value_or(0); },
      [this](std::size_t table, std::uint64_t key, const auto&... values) { database_.put(table, key, values...); });
}

}  // namespace ox::manager
