#include "manager/router.h"

#include <array>
#include <new>

#include <oxbase/oxc.h>

#include "manager/handlers.h"

namespace ox::manager {
namespace {

struct Route {
  std::uint32_t type;
  std::uint32_t command;
  void (*handler)(Manager&, const Request&);
};
constexpr std::array routes{
    Route{1, 1, &handle_get},
    Route{1, 3, &handle_no_subscription},
    Route{1, 4, &handle_set},
    Route{1, 6, &handle_no_subscription},
    Route{1, 7, &handle_no_subscription},
    Route{1, 8, &handle_management},
    Route{1, 14, &handle_lock},
    Route{4, 14, &handle_unlock},
    Route{1, 21, &handle_append},
    Route{1, 22, &handle_data_size},
    Route{5, 0, &handle_fetch},
};

constexpr std::uint32_t nothing_to_fetch = 6;

}  // namespace

void handle_no_subscription(Manager&, const Request& request) { request.reply(error_reply(OX_EHANDLE)); }

void handle_fetch(Manager&, const Request& request) { request.reply({.type = nothing_to_fetch}); }

void route(Manager& manager, const Request& request) {
  const std::string& destination = request.message.destination;
  if (!destination.empty() && destination != oxcGetMyComm()) return request.reply(error_reply(OX_ENOPIPE));
  for (const Route& row : routes) {
    if (row.type != request.message.type || row.command != request.message.command) continue;
    try {
      return row.handler(manager, request);
    } catch (const std::bad_alloc&) {
      return request.reply(error_reply(OX_ENOMEM));
    }
  }
  request.reply(error_reply(OX_EUNSUPPORTED));
}

}  // namespace ox::manager
