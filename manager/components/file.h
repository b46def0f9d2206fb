// The components with their values and relations in their database.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "manager/base/faults.h"
#include "manager/components/store.h"
#include "manager/storage/database.h"

namespace ox::manager {

class ComponentFile {
 public:
  // "components.db" of the directory.
  ComponentFile(const std::string& directory, Durability durability);
  [[nodiscard]] static std::span<const Table> tables();

  // Takes faults from then on. False, and told, when the database cannot be used; a damaged one is renewed when it is
  // loaded, beside the loop where there is one.
  [[nodiscard]] bool open(FaultSink faults);
  // Reads the database into the store, in steps: on until that time, one row at least. What is damaged is set aside,
  // and the reading of what is kept of it begins anew. Nothing else is called before it is done.
  enum class Loading { more, done, failed };
  [[nodiscard]] Loading load(Store& store, std::chrono::steady_clock::time_point until);
  // Writes the batch, which removes no component, then applies it. 0, or 144 with the store as it was.
  [[nodiscard]] OX_RESULT commit(Store& store, std::span<const Change> batch);
  // Removes a component in steps. The first one makes it hold: 0, or 144 with all as it was. Then, until that time,
  // what the component has goes, at last itself; true when it is gone. What the death of the manager leaves of it is
  // nobody's.
  [[nodiscard]] OX_RESULT begin_removal(Store& store, const ComponentName& name);
  [[nodiscard]] bool remove_on(Store& store, const ComponentName& name, std::chrono::steady_clock::time_point until);
  // Erases what loading has found to be nobody's, until that time; true when nothing of it is left.
  [[nodiscard]] bool clear_away(std::chrono::steady_clock::time_point until);
  // Checks the database beside the work, and renews it when it is damaged.
  void check(asio::io_context& loop, Store& store) {
    database_.check(loop, [this, &store] { renew(store); });
  }
  // Sets the database aside and goes on with a new one that holds the store. Nothing is committed meanwhile.
  void renew(Store& store);
  [[nodiscard]] bool is_away() const { return database_.is_away(); }
  [[nodiscard]] Database& database() { return database_; }

 private:
  // How far the reading has come.
  struct Reading {
    std::size_t table = 0;
    std::uint64_t row = 0;
    std::uint64_t rows = 0;  // of this table
    std::unordered_map<std::uint64_t, ComponentName> names{{0, Store::built_in_name()}};
  };

  void start_reading(Store& store);
  [[nodiscard]] bool read_on(Store& store, std::chrono::steady_clock::time_point until);
  void take_row(Store& store, const Row& row);
  void take_component(Store& store, const Row& row);
  void take_value(Store& store, const Row& row);
  void take_relation(Store& store, const Row& row);
  void is_nobodys(std::size_t table, const Row& row) { nobodys_.emplace_back(table, row.number(0)); }
  [[nodiscard]] std::uint64_t next_row() { return ++last_row_; }

  // The row that the change is about, 0 when it changes nothing. Rows of this batch that the store does not have yet
  // are in `fresh_`.
  [[nodiscard]] OX_RESULT commit_changes(Store& store, bool ready);
  void write(const Store& store, Change& change);
  void put(const Store& store, const Change& change);
  void write_value(const Store& store, Change& change);
  void write_relation(const Store& store, Change& change);
  [[nodiscard]] std::optional<std::uint64_t> component_row(const Store& store, const ComponentName& name) const;

  void take_in(Store& store, std::span<const Change> changes);

  Database database_;
  Reading reading_;
  std::vector<std::pair<std::size_t, std::uint64_t>> nobodys_;  // rows, by table
  bool damaged_ = false;                                        // it was when it was opened
  bool renewed_ = false;                                        // it was damaged when it was read
  bool lost_ = false;                                           // and could not be renewed
  std::uint64_t last_row_ = 0;                                  // of all tables
  std::unique_ptr<std::byte[]> spare_;
  std::map<ComponentName, std::uint64_t> fresh_;
  std::map<std::pair<ComponentName, Oid>, std::uint64_t> fresh_values_;
};

}  // namespace ox::manager
