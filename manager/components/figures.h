// What the manager counts: values of "system:system" that are kept nowhere.
#pragma once

#include <cstdint>
#include <vector>

#include "manager/manager.h"

namespace ox::manager {

struct Figure {
  Oid path;
  std::uint64_t value = 0;
};
// In the order of their paths; none for any other component.
[[nodiscard]] std::vector<Figure> figures_of(const Manager& manager, const ComponentName& component);

[[nodiscard]] NodePtr figure_node(const Figure& figure);

}  // namespace ox::manager
