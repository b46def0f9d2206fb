// What of an agent a selection stands for, and what its values are called.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "manager/base/selection.h"

namespace ox::manager {

// The readable leaves of an agent at and below a selection: with the numbers of an instance, where those were given.
[[nodiscard]] std::vector<Oid> agent_columns(const Selection& selection);
// The numeric path of the leaf that a value belongs to, and which instance of it that is ("0" of a scalar); empty
// without a leaf.
[[nodiscard]] std::pair<std::string, std::string> leaf_and_instance(const Oid& path);
[[nodiscard]] bool is_readable(const Oid& path);

}  // namespace ox::manager
