#include "manager/base/oid.h"

#include <algorithm>
#include <charconv>

namespace ox::manager {

std::optional<Oid> parse_oid(std::string_view text) {
  Oid oid;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (true) {
    std::uint32_t number = 0;
    const auto [next, error] = std::from_chars(at, end, number);
    if (error != std::errc{}) return std::nullopt;
    oid.push_back(number);
    if (next == end) return oid;
    if (*next != '.') return std::nullopt;
    at = next + 1;
  }
}

std::string oid_text(const Oid& oid) {
  std::string text;
  for (const std::uint32_t number : oid) {
    if (!text.empty()) text += '.';
    text += std::to_string(number);
  }
  return text;
}

bool is_under(const Oid& oid, const Oid& prefix) {
  return oid.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), oid.begin());
}

}  // namespace ox::manager
