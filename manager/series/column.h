// Numbers that follow one another, in few bits each.
//
// As they are, or what each adds to the one before it, or by how much that differs from what was added before:
// whichever takes the fewest bits. Those stand in groups of 16, each in as many bits as the longest of its group needs,
// the lowest bits first; groups of nothing but zeros are only counted.
#pragma once

#include <cstdint>
#include <vector>

#include "manager/series/varint.h"

namespace ox::manager {

void put_column(Bytes& out, const std::vector<std::uint64_t>& numbers);
// So many of them. What does not read makes the cursor fail.
void take_column(ByteCursor& in, std::size_t count, std::vector<std::uint64_t>& numbers);

}  // namespace ox::manager
