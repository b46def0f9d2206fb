// What can be read of a damaged database, into a new one.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "manager/storage/connection.h"
#include "manager/storage/table.h"

namespace ox::manager {

struct Saved {
  std::uint64_t rows = 0;
  std::optional<std::uint64_t> expected{};  // nothing when the number was lost, too
};

// Puts into the new one what its owner has, or mends what lacks something; false when that cannot be.
using Mend = std::function<bool(Connection& made)>;

// Copies every row that reads from `file`, which is not changed, into `into`, which is made, then mends it. The last
// table holds the numbers of the others' rows. Nothing, with the new file removed, when it cannot be written, or when
// it is to end.
[[nodiscard]] std::optional<std::vector<Saved>> salvage(const std::string& file, const std::string& into,
                                                        std::span<const Table> tables, const Mend& mend,
                                                        const std::atomic<bool>& ending);

// Makes an empty database of the tables in a new file. False when it cannot be written.
[[nodiscard]] bool make_database(const std::string& file, std::span<const Table> tables);
// Removes a database with its log.
void remove_database(const std::string& file);

// How the schema of an open database reads; `expected_schema` is what it should be.
[[nodiscard]] std::string schema_of(Connection& connection);
[[nodiscard]] std::string expected_schema(std::span<const Table> tables);

}  // namespace ox::manager
