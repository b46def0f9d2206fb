// Faults of the installation's files, told as they are found.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace ox::manager {

// "file:line: text"; line 0 when it is the whole file's.
using FaultSink = std::function<void(const std::string& file, std::uint32_t line, const std::string& text)>;

}  // namespace ox::manager
