#include "manager/components/figures.h"

#include <array>

namespace ox::manager {
namespace {

// The attributes of "sysmib.oxTraps", in the order of their numbers.
constexpr std::array trap_figures{
    &TrapBooks::received,  &TrapBooks::events,         &TrapBooks::repeats,  &TrapBooks::overflowed,
    &TrapBooks::malformed, &TrapBooks::without_memory, &TrapBooks::unlogged, &TrapBooks::idle_actions,
};

}  // namespace

std::vector<Figure> figures_of(const Manager& manager, const ComponentName& component) {
  std::vector<Figure> figures;
  if (component.type != "system" || component.name != "system") return figures;
  std::uint32_t number = 0;
  for (const auto figure : trap_figures) figures.push_back({{10, 100, ++number, 0}, manager.trap_books.*figure});
  return figures;
}

NodePtr figure_node(const Figure& figure) {
  NodePtr node = make_node();
  if (oxdSetAmibName(node.get(), oid_text(figure.path).c_str()) != OX_OK ||
      oxdSetCounter64(node.get(), figure.value) != OX_OK) {
    throw std::bad_alloc();
  }
  return node;
}

}  // namespace ox::manager
