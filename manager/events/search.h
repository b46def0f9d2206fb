// Searches of the event log.
#pragma once

#include <asio/io_context.hpp>
#include <functional>
#include <span>

#include "manager/events/log.h"

namespace ox::manager {

// The encoded events of the log that pass an encoded filter, in their order. The answer comes later: 0; 122 without
// any; 3; 261 when the log does not read. What is wrong with the filter is returned, and nothing is answered then.
[[nodiscard]] OX_RESULT search_log(asio::io_context& loop, EventLog& log, std::span<const std::byte> filter,
                                   std::function<void(OX_RESULT, Bytes)> answer);

}  // namespace ox::manager
