// What a log entry has collected, round by round across its data entries.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tools/library.h"

namespace tool {

// Whose values: one component's, of one attribute, at one index.
struct Series {
  std::string component;                        // "type:name"
  std::string path;                             // of the attribute, numeric
  std::string index;                            // "0" of a scalar
  [[nodiscard]] std::string attribute() const;  // its dotted name
  [[nodiscard]] std::string label() const;      // "router1 ifInOctets.3"
  auto operator<=>(const Series&) const = default;
};

// A value, or the gap where one was due.
struct Value {
  std::size_t series = 0;
  std::uint32_t type = 0;
  std::optional<double> number;
  nlohmann::json exact;  // the number, or the text as machines get it
  std::string text;      // as people read it
  std::string gap;       // the reason; empty: a value
};

struct Round {
  std::uint64_t ms = 0;  // when it was due, since 1970
  std::vector<Value> values;
  [[nodiscard]] std::uint32_t seconds() const { return static_cast<std::uint32_t>(ms / 1000); }
};

enum class Function : std::uint8_t { average, minimum, maximum };

struct Window {
  std::uint32_t from = 0;
  std::uint32_t to = UINT32_MAX;
  std::uint32_t rounds = 0;  // at the end of the window; 0: all of it
  std::uint32_t step = 0;    // seconds that become one value by the function
  Function function = Function::average;
  bool rate = false;  // of counters the change per second
};

// Which of a log entry's series: patterns, empty for all.
struct Choice {
  std::string component;  // of "type:name" or the name alone
  std::string attribute;  // of the dotted name, its last label, or the numeric path
  std::string index;
  [[nodiscard]] bool holds(const Series& series) const;
};

// The numbers by which series are known to a reader; they never change.
class SeriesTable {
 public:
  std::size_t number(const Series& series);
  [[nodiscard]] const Series& operator[](std::size_t number) const { return *order_[number]; }
  [[nodiscard]] std::size_t count() const { return order_.size(); }

 private:
  std::map<Series, std::size_t> numbers_;
  std::vector<const Series*> order_;
};

using TakeRound = std::function<void(Round&)>;

// Reads the rounds of a window, oldest first, with the series chosen. The manager makes rates, over wraps and not over
// restarts of agents, and one value of each step; only the least and the most of rates are left to Steps. Throws
// Failure.
void read_rounds(const char* manager, const std::string& log_entry, const Window& window, const Choice& choice,
                 SeriesTable& series, const TakeRound& take);

// ---- What it is made of ----

using MatrixPtr = Owner<oxdMatrix, oxdMatrixFree>;

// What the manager answers for a selection (oxl.h, oxlGetLogEntryData), without a table of cells: most places of one
// may be empty. Tells of what is damaged. `component` is "logEnt:NAME". Throws Failure.
[[nodiscard]] MatrixPtr matrix_of(const char* manager, const std::string& component, const oxaSelection& selection);

// Where the data entries of a window begin, behind its own beginning.
[[nodiscard]] std::vector<std::uint32_t> cuts_of(const char* manager, const std::string& log_entry,
                                                 const Window& window);

// A cell's value as people read it; `path` names its attribute.
[[nodiscard]] std::string cell_text(const oxdMatrixItem& cell, const std::string& path);

}  // namespace tool
