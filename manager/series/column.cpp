#include "manager/series/column.h"

#include <algorithm>
#include <array>
#include <bit>

namespace ox::manager {
namespace {

constexpr std::size_t group_size = 16;
constexpr std::uint8_t zero_groups = 0x80;  // a width with this bit counts groups of zeros, less one
constexpr std::size_t most_zero_groups = 0x80;
constexpr std::size_t most_order = 2;

using Numbers = std::vector<std::uint64_t>;

unsigned width_of(const std::uint64_t* first, std::size_t count) {
  std::uint64_t all = 0;
  for (std::size_t i = 0; i < count; ++i) all |= fold_sign(first[i]);
  return static_cast<unsigned>(std::bit_width(all));
}

// Bits of what stands behind the first ones.
std::size_t cost_of(const Numbers& numbers, std::size_t from) {
  std::size_t bits = 0;
  for (std::size_t i = from; i < numbers.size(); i += group_size) {
    const std::size_t count = std::min(group_size, numbers.size() - i);
    bits += 8 + count * width_of(&numbers[i], count);
  }
  return bits;
}

void put_group(Bytes& out, const std::uint64_t* first, std::size_t count, unsigned width) {
  out.push_back(static_cast<std::byte>(width));
  std::uint64_t waiting = 0;
  unsigned bits = 0;
  const auto put = [&](std::uint64_t part, unsigned size) {  // of 32 bits at most
    waiting |= part << bits;
    for (bits += size; bits >= 8; bits -= 8, waiting >>= 8) out.push_back(static_cast<std::byte>(waiting));
  };
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t folded = fold_sign(first[i]);
    put(folded & 0xFFFFFFFF, std::min(width, 32u));
    if (width > 32) put(folded >> 32, width - 32);
  }
  if (bits != 0) out.push_back(static_cast<std::byte>(waiting));
}

void take_group(ByteCursor& in, std::size_t count, unsigned width, Numbers& numbers) {
  const auto bytes = in.bytes((count * width + 7) / 8);
  if (in.failed()) return;
  std::size_t next = 0;
  std::uint64_t waiting = 0;
  unsigned bits = 0;
  const auto take = [&](unsigned size) {  // of 32 bits at most
    for (; bits < size; bits += 8) waiting |= std::to_integer<std::uint64_t>(bytes[next++]) << bits;
    const std::uint64_t part = waiting & ((std::uint64_t{1} << size) - 1);
    waiting >>= size;
    bits -= size;
    return part;
  };
  for (std::size_t i = 0; i < count; ++i) {
    std::uint64_t folded = take(std::min(width, 32u));
    if (width > 32) folded |= take(width - 32) << 32;
    numbers.push_back(unfold_sign(folded));
  }
}

// Of groups without a bit, as many as there are, up to what one byte counts.
std::size_t count_zero_groups(const Numbers& numbers, std::size_t from) {
  std::size_t groups = 0;
  for (std::size_t i = from; i < numbers.size() && groups < most_zero_groups; i += group_size, ++groups) {
    if (width_of(&numbers[i], std::min(group_size, numbers.size() - i)) != 0) break;
  }
  return groups;
}

void put_groups(Bytes& out, const Numbers& numbers, std::size_t from) {
  while (from < numbers.size()) {
    if (const std::size_t zeros = count_zero_groups(numbers, from)) {
      out.push_back(static_cast<std::byte>(zero_groups | (zeros - 1)));
      from += zeros * group_size;
      continue;
    }
    const std::size_t count = std::min(group_size, numbers.size() - from);
    put_group(out, &numbers[from], count, width_of(&numbers[from], count));
    from += count;
  }
}

void take_groups(ByteCursor& in, std::size_t count, Numbers& numbers) {
  while (numbers.size() < count && !in.failed()) {
    const std::uint8_t width = in.byte();
    const std::size_t left = count - numbers.size();
    if ((width & zero_groups) != 0) {
      numbers.resize(numbers.size() + std::min(left, ((width & 0x7Fu) + 1) * group_size));
    } else if (width <= 64) {
      take_group(in, std::min(group_size, left), width, numbers);
    } else {
      (void)in.fail();
    }
  }
}

}  // namespace

void put_column(Bytes& out, const std::vector<std::uint64_t>& numbers) {
  std::array<Numbers, most_order + 1> forms{numbers};
  std::size_t best = 0;
  std::size_t best_cost = cost_of(numbers, 0);
  for (std::size_t order = 1; order <= most_order && order < numbers.size(); ++order) {
    forms[order] = forms[order - 1];
    // What stands before the differences of this order stays as it is.
    for (std::size_t i = numbers.size(); i-- > order;) forms[order][i] -= forms[order][i - 1];
    const std::size_t cost = cost_of(forms[order], order) + 40 * order;
    if (cost >= best_cost) continue;
    best = order;
    best_cost = cost;
  }
  out.push_back(static_cast<std::byte>(best));
  for (std::size_t i = 0; i < best; ++i) put_signed(out, forms[best][i]);
  put_groups(out, forms[best], best);
}

void take_column(ByteCursor& in, std::size_t count, std::vector<std::uint64_t>& numbers) {
  const std::size_t order = in.byte();
  numbers.clear();
  if (order > most_order || order > count) return void(in.fail());
  for (std::size_t i = 0; i < order; ++i) numbers.push_back(in.signed_number());
  take_groups(in, count, numbers);
  if (in.failed()) return;
  for (std::size_t from = order; from > 0; --from) {
    for (std::size_t i = from; i < count; ++i) numbers[i] += numbers[i - 1];
  }
}

}  // namespace ox::manager
