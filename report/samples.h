// What a log entry has collected, instance by instance, with what a definition calculates of it.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <oxbase/oxd.h>

#include "report/definition.h"
#include "tools/collected.h"

namespace report {

// What a report tells of: one component's row of attributes at one index.
struct Instance {
  std::string component;  // "type:name"
  std::string index;
  std::string label;  // the last one collected; empty without one
};

// The values of one instance at one time.
struct Row {
  std::uint32_t time = 0;
  std::size_t instance = 0;
  std::vector<const oxdMatrixItem*> cells;  // of the attributes; null: none was due
  const Sample* sample = nullptr;
  std::uint32_t gap = 0;  // status word of the first that is not there; 0: all are
};

// Who takes the rows: those of one time one after the other, times in their order.
class RowTaker {
 public:
  virtual ~RowTaker() = default;
  virtual void take(const Row& row) = 0;
};

// In the place of a number that is not there.
inline constexpr double nothing = std::numeric_limits<double>::quiet_NaN();

// The bytes of a cell as a number without sign, the highest first.
[[nodiscard]] std::uint64_t natural_of(const oxdMatrixItem& cell);
// The number in a cell; NaN where there is none.
[[nodiscard]] double number_of(const oxdMatrixItem& cell);

class Samples {
 public:
  // `parameters` in the order of the definition's. Throws std::runtime_error for attributes that nobody knows.
  Samples(const Definition& definition, std::vector<double> parameters);

  // Reads a window of time, data entry by data entry, so that never more than one of them is here. Throws Failure.
  void read(const char* manager, const std::string& log_entry, std::uint32_t from, std::uint32_t to,
            const std::vector<RowTaker*>& takers);

  [[nodiscard]] const std::vector<Instance>& instances() const noexcept { return instances_; }
  [[nodiscard]] const std::vector<std::string>& paths() const noexcept { return paths_; }  // of the attributes

 private:
  // The cells of one instance: of each attribute at each time, and its rate.
  struct Block {
    std::vector<const oxdMatrixItem*> cells;
    std::vector<double> rates;
  };
  struct Piece {
    tool::MatrixPtr values;
    tool::MatrixPtr rates;
    std::map<std::size_t, Block> blocks;  // by instance
  };

  [[nodiscard]] std::size_t instance(const std::string& component, const std::string& index);
  [[nodiscard]] std::size_t attribute_of(const std::string& path, const std::string& index) const;
  void sort_in(Piece& piece);
  void sort_in_rates(Piece& piece, const std::vector<std::size_t>& places);
  void take_label(const oxdMatrixItem& cell, std::size_t instance);
  void pass_on(const Piece& piece, const std::vector<RowTaker*>& takers);
  void calculate(Row& row, const Block& block, std::size_t time, std::size_t times);

  const Definition& definition_;
  std::vector<std::string> paths_;
  std::string label_path_;
  Sample sample_;
  std::vector<Instance> instances_;
  std::map<std::pair<std::string, std::string>, std::size_t> numbers_;
  std::uint32_t last_time_ = 0;  // of the piece before
};

// The numeric path of an attribute; empty for one that the tree does not have.
[[nodiscard]] std::string numeric_path(const std::string& name);

}  // namespace report
