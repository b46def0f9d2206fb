// What the trace shows of a message's data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace ox {

// The payload of a request with stars in place of each value that can be set and never read, such as a community; also
// of one whose attribute the tree does not know.
[[nodiscard]] std::string shown_payload(std::uint32_t command, std::span<const unsigned char> payload);

}  // namespace ox
