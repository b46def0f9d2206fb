// Searches of the event log.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <span>

#include "manager/base/byte_source.h"
#include "manager/base/job.h"
#include "manager/events/log.h"

namespace ox::manager {

// Who asks for which events, by an encoded filter, and how long it may take until the last of them has been taken.
struct LogQuestion {
  std::uint32_t session = 0;
  std::span<const std::byte> filter;
  std::chrono::seconds limit;
  std::function<bool(const evmsg*)> readable;  // for who asks
};

// The encoded events of the log that pass the filter, as they are now, in their order: those of a short answer at once,
// and behind the first ones of a long answer the source of the others. 0; 122 without any; 3; 158 when the time was
// over before they were counted; 261 when the log does not read; 266 when they are more than a message may have.
using LogAnswer = std::function<void(OX_RESULT result, Bytes events, std::shared_ptr<ByteSource> rest)>;

// Answers at once or later, unless the client goes. What is wrong with the filter, or 261, is returned, and nothing is
// answered then.
[[nodiscard]] OX_RESULT search_log(asio::io_context& loop, EventLog& log, JobsOfClients& jobs,
                                   const LogQuestion& question, LogAnswer answer);

}  // namespace ox::manager
