// Remembers where paths went: from a node and a component to its child, so that a path through a node of many children
// need not walk them every time.
//
// A fixed table without locks, for any number of threads: an entry is one reference, and is believed only when the
// node that it names has the parent and the component that are looked for. What it does not hold is found by walking
// the siblings in their order, and from the index where there are many, so nodes that are added later resolve at once.
// Names and numbers are unique among siblings, so both ways find the same node.
#pragma once

#include <cstddef>
#include <cstdint>

#include "amib/node.h"

namespace ox::amib {

// A component: `size` characters, not terminated. 0 when the parent has no such child.
[[nodiscard]] Ref child_named(Ref parent, const char* name, std::size_t size) noexcept;
[[nodiscard]] Ref child_numbered(Ref parent, std::uint32_t number) noexcept;

// To be called when blocks are unmapped or another tree is put in use.
void clear_child_cache() noexcept;

}  // namespace ox::amib
