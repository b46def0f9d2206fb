#include "manager/requests/figures.h"

#include <array>

#include "manager/base/attributes.h"

namespace ox::manager {
namespace {

// The attributes of "sysmib.oxTraps", in the order of their numbers.
constexpr std::array trap_figures{
    &TrapBooks::received,  &TrapBooks::events,         &TrapBooks::repeats,      &TrapBooks::overflowed,
    &TrapBooks::malformed, &TrapBooks::without_memory, &TrapBooks::unlogged,     &TrapBooks::idle_actions,
    &TrapBooks::unwanted,  &TrapBooks::limited,        &TrapBooks::of_version_3,
};

// Those of "sysmib.oxAnswers".
constexpr std::array answer_figures{
    &RefusedAnswers::malformed,   &RefusedAnswers::unasked,        &RefusedAnswers::of_others,
    &RefusedAnswers::of_versions, &RefusedAnswers::of_communities,
};

constexpr std::array client_figures{
    &User::Holdings::connections, &User::Holdings::bytes,   &User::Holdings::registrations,
    &User::Holdings::requests,    &User::Holdings::refused,
};

}  // namespace

void add_client_figures(const Users& users, const ComponentName& component, std::vector<Figure>& figures) {
  if (component.name != "system") return;
  std::uint32_t number = 0;
  for (const auto& [account, user] : users.all()) figures.push_back({client_figure_path(1, ++number), user->name()});
  std::uint32_t column = 1;
  for (const auto figure : client_figures) {
    number = 0;
    ++column;
    for (const auto& [account, user] : users.all()) {
      figures.push_back({client_figure_path(column, ++number), user->holds.*figure});
    }
  }
}

void add_answer_figures(const RefusedAnswers& refused, const ComponentName& component, std::vector<Figure>& figures) {
  if (component.name != "system") return;
  std::uint32_t number = 0;
  for (const auto figure : answer_figures) figures.push_back({answer_figure_path(++number), refused.*figure});
}

void add_event_log_figures(const EventShares& shares, const ComponentName& component, std::vector<Figure>& figures) {
  if (component.name != "system") return;
  const auto add = [&](std::uint32_t column, const auto& of_kind) {
    for (std::uint32_t kind = 0; kind < event_shares.size(); ++kind) {
      figures.push_back({event_log_figure_path(column, kind + 1), of_kind(kind)});
    }
  };
  add(1, [](std::uint32_t kind) { return std::string(event_shares[kind].name); });
  add(2, [](std::uint32_t kind) { return std::uint64_t{event_shares[kind].percent}; });
  add(3, [&](std::uint32_t kind) { return shares.bytes(kind); });
  add(4, [&](std::uint32_t kind) { return shares.dropped(kind); });
}

void add_system_figures(const TrapBooks& traps, const FaultList& faults, const ComponentName& component,
                        std::vector<Figure>& figures) {
  if (component.name != "system") return;
  std::uint32_t number = 0;
  for (const auto figure : trap_figures) figures.push_back({trap_figure_path(++number), traps.*figure});
  figures.push_back({fault_count_path, faults.count()});
  number = 0;
  for (const std::string& text : faults.texts()) figures.push_back({fault_text_path(++number), text});
}

}  // namespace ox::manager
