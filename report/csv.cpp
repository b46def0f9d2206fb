#include "report/csv.h"

#include <charconv>
#include <cmath>

#include "tools/gap_reasons.h"
#include "tools/rows.h"

namespace report {
namespace {

bool is_natural(const oxdMatrixItem& cell) {
  return (cell.type == OX_COUNTER || cell.type == OX_GAUGE) && cell.length == 4;
}

}  // namespace

Csv::Csv(const Definition& definition, const Samples& samples, const oxcZone* zone, std::FILE* out)
    : definition_(definition), samples_(samples), zone_(zone), out_(out) {
  for (const Column& column : definition.columns) line_ += (line_.empty() ? "" : ",") + column.name;
  line_ += "\r\n";
  (void)std::fwrite(line_.data(), 1, line_.size(), out_);
}

const std::string& Csv::field(std::vector<std::string>& known, std::size_t instance, const std::string& text) {
  if (known.size() <= instance) known.resize(instance + 1);
  if (known[instance].empty()) known[instance] = tool::csv_field(tool::utf8_of(text).text);
  return known[instance];
}

// The shortest text that reads back as the same number.
void Csv::put_number(double number) {
  if (std::isnan(number)) return;
  char text[32];
  line_.append(text, std::to_chars(text, text + sizeof text, number).ptr);
}

void Csv::put_attribute(const oxdMatrixItem* cell, std::size_t attribute, const std::string& index) {
  if (cell == nullptr || (cell->length == 0 && cell->type == 0)) return;
  if (is_natural(*cell) || (cell->type == OX_COUNTER64 && cell->length == 8)) {
    char text[24];
    line_.append(text, std::to_chars(text, text + sizeof text, natural_of(*cell)).ptr);
  } else if (const double number = number_of(*cell); !std::isnan(number)) {
    put_number(number);
  } else {
    line_ += tool::csv_field(tool::utf8_of(tool::cell_text(*cell, samples_.paths()[attribute] + '.' + index)).text);
  }
}

void Csv::put(const Column& column, const Row& row) {
  const Instance& instance = samples_.instances()[row.instance];
  switch (column.kind) {
    case Column::time:
      line_ += shown_time_;
      return;
    case Column::component:
      line_ += field(components_, row.instance, instance.component);
      return;
    case Column::index:
      line_ += field(indexes_, row.instance, instance.index);
      return;
    case Column::label:
      line_ += tool::csv_field(tool::utf8_of(instance.label).text);
      return;
    case Column::gap:
      if (row.gap != 0) line_ += tool::csv_field(tool::gap_reason(row.gap));
      return;
    case Column::attribute:
      return put_attribute(row.cells[column.at], column.at, instance.index);
    case Column::result:
      return put_number(row.sample->results[column.at]);
  }
}

void Csv::take(const Row& row) {
  if (time_ != row.time) shown_time_ = tool::iso_time(zone_, row.time);
  time_ = row.time;
  line_.clear();
  for (const Column& column : definition_.columns) {
    if (&column != definition_.columns.data()) line_ += ',';
    put(column, row);
  }
  line_ += "\r\n";
  (void)std::fwrite(line_.data(), 1, line_.size(), out_);
}

}  // namespace report
