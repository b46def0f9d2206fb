// A tree of a few attributes, with the standard heads and one enumeration, built in the test's own system root.
#pragma once

namespace ox::test {

void build_small_tree();

}  // namespace ox::test
