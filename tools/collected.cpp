#include "tools/collected.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "tools/gap_reasons.h"
#include "tools/node_output.h"
#include "tools/text.h"

namespace tool {
namespace {

std::string last_label(const std::string& name) { return name.substr(name.find_last_of('.') + 1); }

std::uint64_t natural_of(const oxdMatrixItem& cell) {
  std::uint64_t number = 0;
  const auto* bytes = static_cast<const unsigned char*>(cell.data);
  for (std::uint32_t i = 0; i < cell.length && i < 8; ++i) number = number << 8 | bytes[i];
  return number;
}

// The display text, with the names of enumerations, and the raw one.
std::pair<std::string, std::string> texts_of(const oxdMatrixItem& cell, const std::string& path) {
  const NodesPtr node(oxdAlloc(1));
  void* const block = oxcMemAlloc(cell.length + 1, "oxlogValue");
  if (node == nullptr || block == nullptr) throw std::bad_alloc();
  if (cell.length != 0) std::memcpy(block, cell.data, cell.length);
  static_cast<char*>(block)[cell.length] = '\0';
  require(oxdSetRawValue(node.get(), cell.type, cell.length, block), path);
  (void)oxdSetAmibName(node.get(), path.c_str());
  std::string shown = oxdGetValueByStr(node.get());
  return {std::move(shown), oxdGetValueByRawStr(node.get())};
}

void set_number(Value& value, const oxdMatrixItem& cell, std::uint32_t form) {
  const std::uint64_t natural = natural_of(cell);
  if (form == OXD_SIGNED32) {
    const auto number = static_cast<std::int32_t>(static_cast<std::uint32_t>(natural));
    value.number = number;
    value.exact = number;
  } else {
    value.number = static_cast<double>(natural);
    value.exact = natural;
  }
}

Value value_of(const oxdMatrixItem& cell, std::size_t number, const Series& series) {
  Value value;
  value.series = number;
  value.type = cell.type;
  if (cell.length == 0 && cell.type == 0) {
    value.gap = gap_reason(cell.status);
    return value;
  }
  oxdType info{};
  (void)oxdTypeInfo(cell.type, &info);
  const bool is_number = info.form == OXD_SIGNED32 || info.form == OXD_UNSIGNED32 || info.form == OXD_UNSIGNED64;
  if (is_number && cell.length == info.size) set_number(value, cell, info.form);
  if (value.number && (cell.type == OX_COUNTER || cell.type == OX_COUNTER64 || cell.type == OX_GAUGE)) {
    value.text = std::to_string(natural_of(cell));
    return value;
  }
  std::string raw;
  std::tie(value.text, raw) = texts_of(cell, series.path + '.' + series.index);
  if (!value.number) value.exact = raw;
  return value;
}

void take_number(Value& value) {
  char* end = nullptr;
  const double number = std::strtod(value.text.c_str(), &end);
  if (value.number || value.text.empty() || *end != '\0') return;
  value.number = number;
  value.exact = nlohmann::json::parse(value.text, nullptr, false);
}

// Of the first round there is no rate, and that is no gap.
bool says_nothing(const oxdMatrixItem& cell) { return cell.length == 0 && cell.type == 0 && cell.status == 0; }

// One piece of collected values, taken apart into rounds.
class Piece {
 public:
  // `made`: texts are numbers that the manager has made of others.
  Piece(const oxdMatrix& matrix, const Choice& choice, SeriesTable& series, bool made)
      : matrix_(matrix), choice_(choice), series_(series), made_(made), cells_(matrix.timeCount) {
    for (const oxdMatrixItem* cell = matrix.cells; cell != nullptr; cell = cell->next) {
      const std::uint32_t time = cell->time - matrix.timeNumber;
      if (time < cells_.size() && is_on_axes(*cell)) cells_[time].push_back(cell);
    }
  }

  [[nodiscard]] std::size_t rounds() const { return cells_.size(); }
  [[nodiscard]] std::uint32_t time(std::size_t round) const { return matrix_.times[round]; }
  void take(std::size_t round, const TakeRound& take_round) {
    Round made{std::uint64_t{time(round)} * 1000, {}};
    for (const oxdMatrixItem* cell : cells_[round]) {
      if (made_ && says_nothing(*cell)) continue;
      const std::size_t number = number_of(*cell);
      if (number != left_out) made.values.push_back(value_of(*cell, number, series_[number]));
      if (number != left_out && made_) take_number(made.values.back());
    }
    if (!made.values.empty()) take_round(made);
  }

 private:
  static constexpr std::size_t left_out = std::numeric_limits<std::size_t>::max();

  [[nodiscard]] bool is_on_axes(const oxdMatrixItem& cell) const {
    return cell.component < matrix_.components.count && cell.amib < matrix_.amibs.count &&
           cell.index < matrix_.indexes.count;
  }
  std::size_t number_of(const oxdMatrixItem& cell) {
    const auto [found, added] = numbers_.try_emplace({cell.component, cell.amib, cell.index}, left_out);
    if (added) {
      const Series series{matrix_.components.texts[cell.component], matrix_.amibs.texts[cell.amib],
                          matrix_.indexes.texts[cell.index]};
      if (choice_.holds(series)) found->second = series_.number(series);
    }
    return found->second;
  }

  const oxdMatrix& matrix_;
  const Choice& choice_;
  SeriesTable& series_;
  bool made_;
  std::vector<std::vector<const oxdMatrixItem*>> cells_;
  std::map<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>, std::size_t> numbers_;
};

}  // namespace

std::string Series::attribute() const { return shown_name(path); }

std::string Series::label() const {
  return component.substr(component.find(':') + 1) + ' ' + last_label(attribute()) + '.' + index;
}

bool Choice::holds(const Series& series) const {
  const auto matches = [](const std::string& pattern, const std::string& text) {
    return pattern.empty() || oxcRegMatch(pattern.c_str(), text.c_str()) != 0;
  };
  const std::string name = attribute.empty() ? std::string() : series.attribute();
  return (matches(component, series.component) ||
          matches(component, series.component.substr(series.component.find(':') + 1))) &&
         (matches(attribute, name) || matches(attribute, last_label(name)) || matches(attribute, series.path)) &&
         matches(index, series.index);
}

std::size_t SeriesTable::number(const Series& series) {
  const auto [found, added] = numbers_.try_emplace(series, order_.size());
  if (added) order_.push_back(&found->first);
  return found->second;
}

namespace {

constexpr char values_path[] = "11.14.20.0";
constexpr std::uint32_t time_limit = 300;  // seconds; a year of values is read for one curve

// What the manager is to make of the values.
std::uint32_t function_of(const Window& window) {
  if (window.rate) return OXL_RATE;
  if (window.step == 0) return OXL_VALUES;
  if (window.function == Function::average) return OXL_AVERAGE;
  return window.function == Function::minimum ? OXL_MINIMUM : OXL_MAXIMUM;
}

}  // namespace

MatrixPtr matrix_of(const char* manager, const std::string& component, const oxaSelection& selection) {
  dnode* list = nullptr;
  const OX_RESULT result = oxaGet(manager, component.c_str(), values_path, &selection, 0, time_limit, &list);
  const NodesPtr nodes(list);
  if (result == OX_ENODES) {
    say(stderr, "%s: some of what was collected is damaged; oxmgrd --check tells\n", component.c_str());
  } else if (result != OX_ENOTFOUND) {
    require(result, component);
  }
  MatrixPtr matrix(oxdMatrixAlloc());
  if (matrix == nullptr) throw std::bad_alloc();
  for (const dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const std::int32_t size = oxdGetValueSize(node);
    if (size > 0)
      require(oxdMatrixAdd(matrix.get(), oxdGetValueValue(node), static_cast<std::uint32_t>(size)), component);
  }
  return matrix;
}

std::vector<std::uint32_t> cuts_of(const char* manager, const std::string& log_entry, const Window& window) {
  DataEntryList* list = nullptr;
  require(oxlDataEntryListOpen(manager, log_entry.c_str(), &list), "logEnt:" + log_entry);
  const Owner<DataEntryList, oxlDataEntryListClose> owner(list);
  std::vector<std::uint32_t> cuts;
  for (;;) {
    DataEntry* record = nullptr;
    require(oxlDataEntryNextOpen(list, &record), "logEnt:" + log_entry);
    if (record == nullptr) break;
    const Owner<DataEntry, oxlDataEntryClose> entry(record);
    std::uint32_t start = 0;
    (void)oxlDataEntryGetPeriodStart(record, &start);
    if (start > window.from && start <= window.to) cuts.push_back(start);
  }
  std::sort(cuts.begin(), cuts.end());
  cuts.erase(std::unique(cuts.begin(), cuts.end()), cuts.end());
  return cuts;
}

std::string cell_text(const oxdMatrixItem& cell, const std::string& path) { return texts_of(cell, path).first; }

// Plain values are asked for data entry by data entry, so that never more than one of them is here.
void read_rounds(const char* manager, const std::string& log_entry, const Window& window, const Choice& choice,
                 SeriesTable& series, const TakeRound& take) {
  const std::uint32_t function = function_of(window);
  const std::uint32_t step = window.rate && window.function != Function::average ? 0 : window.step;
  std::vector<std::uint32_t> cuts;
  if (function == OXL_VALUES && window.rounds == 0) cuts = cuts_of(manager, log_entry, window);
  std::uint32_t from = window.from;
  for (std::size_t i = 0; i <= cuts.size(); ++i) {
    const std::uint32_t to = i < cuts.size() ? cuts[i] - 1 : window.to;
    const MatrixPtr matrix = matrix_of(manager, "logEnt:" + log_entry, {{from, to, step, function, window.rounds}});
    Piece piece(*matrix, choice, series, function >= OXL_AVERAGE);
    for (std::size_t round = 0; round < piece.rounds(); ++round) piece.take(round, take);
    from = to + 1;
  }
}

}  // namespace tool
