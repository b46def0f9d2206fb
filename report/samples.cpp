#include "report/samples.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <oxbase/oxbase.h>

namespace report {
namespace {

// Reasons of gaps (docs/protocol.md): the agent did not answer, was late with the round before, is known to be silent.
constexpr std::uint32_t silent[] = {1, 7, 8};

bool is_gap(const oxdMatrixItem& cell) { return cell.length == 0 && cell.type == 0; }

double answered(const oxdMatrixItem* cell) {
  if (cell == nullptr) return nothing;
  if (!is_gap(*cell)) return 1;
  const auto* const end = std::end(silent);
  return std::find(std::begin(silent), end, cell->status >> 16) != end ? 0 : nothing;
}

// The text of a rate: a DisplayString, with its terminator.
double rate_of(const oxdMatrixItem& cell) {
  if (cell.length < 2) return nothing;
  const auto* const text = static_cast<const char*>(cell.data);
  return text[cell.length - 1] == '\0' ? std::strtod(text, nullptr) : nothing;
}

// A cell is on the axes by its three names; its time lies in the piece.
bool is_in(const oxdMatrix& matrix, const oxdMatrixItem& cell) {
  return cell.component < matrix.components.count && cell.amib < matrix.amibs.count &&
         cell.index < matrix.indexes.count && cell.time - matrix.timeNumber < matrix.timeCount;
}

// Cells come series by series: what a series is, is looked up where another one begins.
class SameSeries {
 public:
  [[nodiscard]] bool is_another(const oxdMatrixItem& cell) {
    const bool same = known_ && cell.component == component_ && cell.amib == amib_ && cell.index == index_;
    known_ = true;
    component_ = cell.component;
    amib_ = cell.amib;
    index_ = cell.index;
    return !same;
  }

 private:
  bool known_ = false;
  std::uint32_t component_ = 0, amib_ = 0, index_ = 0;
};

}  // namespace

std::uint64_t natural_of(const oxdMatrixItem& cell) {
  const auto* bytes = static_cast<const unsigned char*>(cell.data);
  std::uint64_t number = 0;
  for (std::uint32_t i = 0; i < cell.length && i < 8; ++i) number = number << 8 | bytes[i];
  return number;
}

double number_of(const oxdMatrixItem& cell) {
  if (is_gap(cell)) return nothing;
  if (cell.length == 4 && cell.type == OX_INTEGER) return static_cast<std::int32_t>(natural_of(cell));
  oxdType info{};
  (void)oxdTypeInfo(cell.type, &info);
  const bool is_number = info.form == OXD_SIGNED32 || info.form == OXD_UNSIGNED32 || info.form == OXD_UNSIGNED64;
  return is_number && cell.length == info.size ? static_cast<double>(natural_of(cell)) : nothing;
}

std::string numeric_path(const std::string& name) {
  const char* path = nullptr;
  return oxbNumName(name.c_str(), &path) == OX_OK ? path : "";
}

Samples::Samples(const Definition& definition, std::vector<double> parameters) : definition_(definition) {
  for (const std::string& name : definition.attributes) {
    paths_.push_back(numeric_path(name));
    if (paths_.back().empty()) {
      throw std::runtime_error("report type " + definition.name + ": " + name +
                               " is no attribute that this installation knows\n  next: oxamib name " + name);
    }
  }
  if (!definition.label.empty()) label_path_ = numeric_path(definition.label);
  const std::size_t count = paths_.size();
  sample_ = {std::vector<double>(count), std::vector<double>(count), std::vector<double>(count),
             std::vector<double>(definition.results.size()), std::move(parameters)};
}

std::size_t Samples::instance(const std::string& component, const std::string& index) {
  const auto [found, added] = numbers_.try_emplace({component, index}, instances_.size());
  if (added) instances_.push_back({component, index, ""});
  return found->second;
}

// An attribute may be named with its instance.
std::size_t Samples::attribute_of(const std::string& path, const std::string& index) const {
  const auto found = std::find_if(paths_.begin(), paths_.end(),
                                  [&](const std::string& one) { return one == path || one == path + '.' + index; });
  return found == paths_.end() ? npos : static_cast<std::size_t>(found - paths_.begin());
}

void Samples::take_label(const oxdMatrixItem& cell, std::size_t instance) {
  if (!is_gap(cell)) instances_[instance].label = tool::cell_text(cell, label_path_);
}

void Samples::sort_in(Piece& piece) {
  const oxdMatrix& matrix = *piece.values;
  const std::size_t times = matrix.timeCount;
  SameSeries series;
  const oxdMatrixItem** place = nullptr;
  const oxdMatrixItem* label = nullptr;
  std::size_t number = 0;
  for (const oxdMatrixItem* cell = matrix.cells; cell != nullptr; cell = cell->next) {
    if (!is_in(matrix, *cell)) continue;
    if (series.is_another(*cell)) {
      if (label != nullptr) take_label(*label, number);
      place = nullptr;
      label = nullptr;
      const std::string path = matrix.amibs.texts[cell->amib];
      const std::string index = matrix.indexes.texts[cell->index];
      const std::size_t at = attribute_of(path, index);
      if (at == npos && path != label_path_) continue;
      number = instance(matrix.components.texts[cell->component], index);
      Block& block = piece.blocks[number];
      block.cells.resize(paths_.size() * times);
      if (at != npos) place = &block.cells[at * times];
    }
    if (place != nullptr) place[cell->time - matrix.timeNumber] = cell;
    if (!label_path_.empty() && !is_gap(*cell) && label_path_ == matrix.amibs.texts[cell->amib]) label = cell;
  }
  if (label != nullptr) take_label(*label, number);
}

// `places`: where the times of the rates lie among those of the values; npos for none.
void Samples::sort_in_rates(Piece& piece, const std::vector<std::size_t>& places) {
  const oxdMatrix& matrix = *piece.rates;
  const std::size_t times = piece.values->timeCount;
  SameSeries series;
  double* rates = nullptr;
  for (const oxdMatrixItem* cell = matrix.cells; cell != nullptr; cell = cell->next) {
    if (!is_in(matrix, *cell)) continue;
    if (series.is_another(*cell)) {
      const std::string index = matrix.indexes.texts[cell->index];
      const std::size_t at = attribute_of(matrix.amibs.texts[cell->amib], index);
      const auto known = numbers_.find({matrix.components.texts[cell->component], index});
      const auto block = known != numbers_.end() ? piece.blocks.find(known->second) : piece.blocks.end();
      rates = nullptr;
      if (at == npos || block == piece.blocks.end()) continue;
      block->second.rates.resize(paths_.size() * times, nothing);
      rates = &block->second.rates[at * times];
    }
    const std::size_t place = places[cell->time - matrix.timeNumber];
    if (rates != nullptr && place != npos) rates[place] = rate_of(*cell);
  }
}

void Samples::calculate(Row& row, const Block& block, std::size_t time, std::size_t times) {
  row.gap = 0;
  for (std::size_t at = 0; at < paths_.size(); ++at) {
    const std::size_t place = at * times + time;
    const oxdMatrixItem* const cell = block.cells[place];
    row.cells[at] = cell;
    sample_.values[at] = cell != nullptr ? number_of(*cell) : nothing;
    sample_.rates[at] = block.rates.empty() ? nothing : block.rates[place];
    sample_.answered[at] = answered(cell);
    if (cell != nullptr && is_gap(*cell) && row.gap == 0) row.gap = cell->status;
  }
  for (std::size_t i = 0; i < definition_.results.size(); ++i) {
    sample_.results[i] = definition_.results[i].expression(sample_);
  }
}

void Samples::pass_on(const Piece& piece, const std::vector<RowTaker*>& takers) {
  const std::size_t times = piece.values->timeCount;
  Row row;
  row.cells.resize(paths_.size());
  row.sample = &sample_;
  for (std::size_t time = 0; time < times; ++time) {
    row.time = piece.values->times[time];
    if (row.time <= last_time_ && last_time_ != 0) continue;  // has come with the piece before
    for (const auto& [number, block] : piece.blocks) {
      calculate(row, block, time, times);
      const bool due =
          std::any_of(row.cells.begin(), row.cells.end(), [](const auto* cell) { return cell != nullptr; });
      if (!due) continue;
      row.instance = number;
      for (RowTaker* const taker : takers) taker->take(row);
    }
  }
  if (times != 0) last_time_ = std::max(last_time_, piece.values->times[times - 1]);
}

// Rates are asked for from the round before the piece on: the first round of an answer has none.
void Samples::read(const char* manager, const std::string& log_entry, std::uint32_t from, std::uint32_t to,
                   const std::vector<RowTaker*>& takers) {
  const std::string component = "logEnt:" + log_entry;
  tool::Window window;
  window.from = from;
  window.to = to;
  std::vector<std::uint32_t> ends = tool::cuts_of(manager, log_entry, window);
  for (std::uint32_t& end : ends) --end;
  ends.push_back(to);
  last_time_ = 0;
  for (const std::uint32_t end : ends) {
    Piece piece;
    piece.values = tool::matrix_of(manager, component, {{from, end, 0, OXL_VALUES, 0}});
    sort_in(piece);
    if (definition_.uses_rates() && piece.values->timeCount != 0) {
      const std::uint32_t before = last_time_ != 0 ? last_time_ : from;
      piece.rates = tool::matrix_of(manager, component, {{before, end, 0, OXL_RATE, 0}});
      std::vector<std::size_t> places;
      const std::uint32_t* const first = piece.values->times;
      const std::uint32_t* const last = first + piece.values->timeCount;
      for (std::uint32_t i = 0; i < piece.rates->timeCount; ++i) {
        const auto* const found = std::lower_bound(first, last, piece.rates->times[i]);
        const bool there = found != last && *found == piece.rates->times[i];
        places.push_back(there ? static_cast<std::size_t>(found - first) : npos);
      }
      sort_in_rates(piece, places);
    }
    pass_on(piece, takers);
    from = end + 1;
  }
}

}  // namespace report
