// What a collection takes, and whether it can be kept up.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/rows.h"

namespace tool {

struct Fit {
  bool fits = true;
  Cell requests, values, bytes;     // a day
  std::uint64_t days = 0;           // until the disk is full; `never`: it does not become so
  std::vector<std::string> agents;  // those that cannot make it, slowest first
  static constexpr std::uint64_t never = UINT32_MAX;
  // "node:router1 2300 ms of 1000 ms"
  [[nodiscard]] std::string why() const;
};

// Asks the manager, which asks each agent once. Throws Failure.
[[nodiscard]] Fit fit_of(const char* manager, const std::string& component);
void print_fit(Form form, const Fit& fit);

}  // namespace tool
