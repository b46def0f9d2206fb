#include "manager/requests/figures.h"

#include <array>

#include "manager/base/attributes.h"

namespace ox::manager {
namespace {

// The attributes of "sysmib.oxTraps", in the order of their numbers.
constexpr std::array trap_figures{
    &TrapBooks::received,  &TrapBooks::events,         &TrapBooks::repeats,  &TrapBooks::overflowed,
    &TrapBooks::malformed, &TrapBooks::without_memory, &TrapBooks::unlogged, &TrapBooks::idle_actions,
};

}  // namespace

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
