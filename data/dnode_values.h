// The values of an encoded list of data nodes, where they stand.
#pragma once

#include <functional>
#include <span>
#include <string_view>

namespace ox::data {

// Calls `visit` with the path, as it travels, and the bytes of each value, as far as the list reads.
void every_value(std::span<const unsigned char> list,
                 const std::function<void(std::string_view path, std::span<const unsigned char> value)>& visit);

}  // namespace ox::data
