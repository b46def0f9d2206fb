// A report type as pages are made by it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <oxbase/oxrep.h>

#include "report/expression.h"

namespace report {

// A value of a definition by its number (OXREP_TYPE_...), and the line that it stands in, 0 when it comes from the
// manager.
struct Line {
  std::uint32_t number = 0;
  std::string text;
  std::uint32_t line = 0;
};

struct FaultLine {
  std::uint32_t line = 0;  // 0: of the whole
  std::string text;
};

struct Calculated {
  std::string name;
  Expression expression;
};

struct Column {
  enum Kind : std::uint8_t { time, component, index, label, gap, attribute, result } kind = time;
  std::size_t at = 0;
  std::string name;
};

struct Graph {
  std::string title;
  std::string unit;
  std::vector<std::size_t> results;
};

struct Definition {
  std::string name;
  std::string version;
  std::string description;
  std::string component;                // pattern
  std::vector<std::string> attributes;  // m1 ..., as they are written
  std::string label;                    // the attribute that labels an instance; may be empty
  std::vector<std::pair<std::string, double>> parameters;
  std::vector<Calculated> results;  // the calculated ones, and behind them attributes that are drawn as they are
  std::vector<Column> columns;
  std::vector<Graph> graphs;
  std::string page = "sample.htm";
  std::string prefix;

  [[nodiscard]] bool uses_rates() const;
};

// What can be made of the lines; what is wrong with the others is told.
[[nodiscard]] Definition define(const std::vector<Line>& lines, std::vector<FaultLine>& faults);

// The type's lines. Its name stands with the number OXREP_TYPE_NAME.
[[nodiscard]] std::vector<Line> lines_of(const RepType& type);
// Of a file, read as far as it can be; keywords that nobody knows are faults here. Throws std::runtime_error for a file
// that cannot be opened.
[[nodiscard]] std::vector<Line> lines_of(const std::string& file, std::vector<FaultLine>& faults);

}  // namespace report
