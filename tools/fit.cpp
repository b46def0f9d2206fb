#include "tools/fit.h"

#include <stdexcept>

#include "tools/entries.h"
#include "tools/log_entries.h"

namespace tool {
namespace {

constexpr char fit_path[] = "11.14.19";
enum : std::uint32_t { state = 1, requests = 2, bytes = 3, days = 4, agents = 5, values = 6 };
enum : std::uint64_t { fits = 2, does_not_fit = 3 };  // before: nobody has been asked

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
  Ledger columns = ledger(manager, component, fit_path, {}, "asking each agent once");
  if (number(columns[0][state]) < fits) {
    throw std::runtime_error(component + ": its agents cannot be asked: see what it wants of whom (oxlog show)");
  }
  Fit fit;
  fit.fits = number(columns[0][state]) != does_not_fit;
  fit.requests = columns[0][requests];
  fit.values = columns[0][values];
  fit.bytes = columns[0][bytes];
  const Cell left = columns[0][days];
  fit.days = left.value.is_number() ? number(left) : Fit::never;
  for (std::uint32_t row = 1; !columns[row][agents].shown.empty(); ++row) {
    fit.agents.push_back(columns[row][agents].shown);
  }
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
