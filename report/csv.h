// A report's values for other programs: every sample, as CSV (RFC 4180, UTF-8, times as ISO 8601 has them).
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "report/samples.h"
#include "tools/moment.h"

namespace report {

class Csv final : public RowTaker {
 public:
  Csv(const Definition& definition, const Samples& samples, const oxcZone* zone, std::FILE* out);
  void take(const Row& row) override;

 private:
  void put(const Column& column, const Row& row);
  void put_attribute(const oxdMatrixItem* cell, std::size_t attribute, const std::string& index);
  void put_number(double number);
  const std::string& field(std::vector<std::string>& known, std::size_t instance, const std::string& text);

  const Definition& definition_;
  const Samples& samples_;
  const oxcZone* zone_;
  std::FILE* out_;
  std::string line_;
  std::uint32_t time_ = 0;
  std::string shown_time_;
  std::vector<std::string> components_, indexes_;  // as fields, by instance
};

}  // namespace report
