// Numeric paths as number sequences, ordered as in a walk.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ox::manager {

using Oid = std::vector<std::uint32_t>;

// "11.1.1.0"; nothing for an empty text, an empty component, a component that is no unsigned 32-bit number.
[[nodiscard]] std::optional<Oid> parse_oid(std::string_view text);
// The same into numbers whose memory is used again; false, and they are any, for such a text.
[[nodiscard]] bool parse_oid(std::string_view text, Oid& oid);
[[nodiscard]] std::string oid_text(const Oid& oid);
// Whether `oid` is `prefix` or lies below it.
[[nodiscard]] bool is_under(const Oid& oid, const Oid& prefix);

}  // namespace ox::manager
