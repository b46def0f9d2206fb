#include "tools/fit.h"

#include "tools/entries.h"
#include "tools/log_entries.h"
#include "tools/progress.h"

namespace tool {
namespace {

constexpr char fit_path[] = "11.14.19";
enum : std::uint32_t { state = 1, requests = 2, bytes = 3, days = 4, agents = 5, values = 6 };
constexpr std::uint64_t does_not_fit = 3;

std::uint64_t number(const Cell& cell) { return cell.value.is_number() ? cell.value.get<std::uint64_t>() : 0; }

std::string shown_days(std::uint64_t count) {
  return count >= Fit::never ? "never" : "in " + std::to_string(count) + " days";
}

}  // namespace

std::string Fit::why() const {
  std::string text = days < never ? "the disk is full " + shown_days(days) : "";
  for (const std::string& agent : agents) text += (text.empty() ? "" : "; ") + agent;
  return text;
}

Fit fit_of(const char* manager, const std::string& component) {
  const Progress progress("asking the agents once");
  Fit fit;
  const auto cell = [columns = ledger(manager, component, fit_path, {})](std::uint32_t column, std::uint32_t row) {
    const auto found = columns.find(row);
    if (found == columns.end()) return Cell();
    const auto in_row = found->second.find(column);
    return in_row != found->second.end() ? in_row->second : Cell();
  };
  fit.fits = number(cell(state, 0)) != does_not_fit;
  fit.requests = cell(requests, 0);
  fit.values = cell(values, 0);
  fit.bytes = cell(bytes, 0);
  const Cell left = cell(days, 0);
  fit.days = left.value.is_number() ? number(left) : Fit::never;
  for (std::uint32_t row = 1; !cell(agents, row).shown.empty(); ++row) fit.agents.push_back(cell(agents, row).shown);
  return fit;
}

void print_fit(Form form, const Fit& fit) {
  const Cell bytes_shown = fit.bytes.value.is_number() ? Cell(shown_bytes(number(fit.bytes)), fit.bytes.value) : Cell();
  const Cell until =
      fit.days >= Fit::never ? Cell(shown_days(fit.days), nullptr) : Cell(shown_days(fit.days), fit.days);
  std::string all;
  for (const std::string& agent : fit.agents) all += (all.empty() ? "" : "; ") + agent;
  print_record(form,
               {{"FITS", "fits"},
                {"REQUESTS A DAY", "requestsPerDay"},
                {"VALUES A DAY", "valuesPerDay"},
                {"BYTES A DAY", "bytesPerDay"},
                {"DISK FULL", "diskFullInDays"},
                {"TOO SLOW", "agents"}},
               {{fit.fits ? "yes" : "no", fit.fits}, fit.requests, fit.values, bytes_shown, until, {all, fit.agents}});
}

}  // namespace tool
