// A request on its way through the handlers, and its reply.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "manager/base/byte_source.h"
#include "manager/base/node_list.h"
#include "manager/base/rights.h"
#include "manager/sessions/frame.h"

namespace ox::manager {

// What a report's header says that a reply's repeats of the request.
struct ReportHeading {
  std::uint32_t command = 0;
  std::uint32_t destination_id = 0;
  std::uint32_t reference = 0;
};

struct Reply {
  std::uint32_t error = 0;
  std::uint32_t source_id = 0;
  Bytes data{};
  std::uint32_t type = 2;
  std::optional<ReportHeading> report{};
  std::shared_ptr<ByteSource> rest{};  // of the data, behind those that are here; null for nothing
};

struct Request {
  std::uint32_t session = 0;
  const Message& message;            // gone when the handler returns
  std::function<void(Reply)> reply;  // to be called once, from the event loop, in the handler or later
  RightsPtr rights{};                // of the client's user
};

[[nodiscard]] inline Reply error_reply(std::uint32_t error) { return {.error = error}; }

// A reply with a list of nodes; without data when it is empty.
[[nodiscard]] Reply node_reply(std::uint32_t error, const NodeList& nodes);

}  // namespace ox::manager
