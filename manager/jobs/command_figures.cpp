// What a command entry tells beside its attributes.
#include <array>

#include "manager/jobs/commands.h"

namespace ox::manager {
namespace {

using Attribute = CommandAttribute;

constexpr std::array<std::uint32_t, 9> columns{1, 2, 3, 4, 5, 6, 7, 8, 9};

TypedNumber time_of(std::uint64_t milliseconds) {
  return {OX_UNIXTIME, static_cast<std::uint32_t>(milliseconds / 1000)};
}

// The value of a run in that column.
decltype(Figure::value) value_of(const Run& run, std::uint32_t column) {
  switch (column) {
    case 1:
      return TypedNumber{OX_UNIXTIME, run.due};
    case 2:
      return time_of(run.start);
    case 3:
      return time_of(run.end);
    case 4:
      return TypedNumber{OX_INTEGER, static_cast<std::uint32_t>(run.what)};
    case 5:
      return TypedNumber{OX_INTEGER, run.status};
    case 6:
      return run.output;
    case 7:
      return run.reason;
    case 8:
      return run.command;
    default:
      return run.count;
  }
}

bool overlap(const Oid& one, const Oid& other) { return is_under(one, other) || is_under(other, one); }

}  // namespace

std::uint32_t Commands::oper_status(const Entry& entry) {
  if (entry.running != 0) return 2;
  if (!entry.has.armed) return 0;
  return state(entry).failed != 0 ? 3 : 1;
}

// A range that closes starts nothing without a command for it.
std::uint32_t Commands::next_start(const Entry& entry) const {
  auto next = with_.scheduler.next(entry.planned);
  for (int i = 0; i < 100 && next; ++i) {
    const bool starts = (next->kinds & ~std::uint32_t{OXCMD_CLOSES}) != 0;
    if (starts || (next->kinds != 0 && !entry.has.invalid_command.empty())) return next->time;
    next = next_moment(entry.plan, next->time);
  }
  return 0;
}

// Only where they are named: there may be many.
void Commands::add_run_figures(const Entry& entry, const FigureQuestion& question, std::vector<Figure>& found) {
  const auto& [from, to, step, function, count] = question.words;
  const std::vector<Run> runs = with_.book.read(entry.id, {from, to, count});
  for (const std::uint32_t column : columns) {
    Oid path = command_runs_path;
    path.push_back(column);
    if (!overlap(path, question.top)) continue;
    path.push_back(0);
    for (const Run& run : runs) {
      path.back() = static_cast<std::uint32_t>(run.key);
      found.push_back({path, value_of(run, column)});
    }
  }
}

void Commands::add_figures(const FigureQuestion& question, std::vector<Figure>& found) {
  const auto known = by_name_.find(question.component.name);
  if (known == by_name_.end()) return;
  const Entry& entry = entries_.at(known->second);
  if (is_under(question.top, command_runs_path)) return add_run_figures(entry, question, found);
  const RunState& now = state(entry);
  found.push_back({command_path(Attribute::oper_status), TypedNumber{OX_INTEGER, oper_status(entry)}});
  found.push_back({command_path(Attribute::last_error), now.last_error});
  found.push_back({command_path(Attribute::next_start), TypedNumber{OX_UNIXTIME, next_start(entry)}});
  found.push_back({command_path(Attribute::last_start), TypedNumber{OX_UNIXTIME, now.last_start}});
  found.push_back({command_path(Attribute::last_exit_status), TypedNumber{OX_INTEGER, now.last_status}});
}

}  // namespace ox::manager
