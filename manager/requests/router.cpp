#include "manager/requests/router.h"

#include <array>
#include <new>

#include <oxbase/oxc.h>

#include "common/protocol.h"
#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

struct Route {
  std::uint32_t type;
  std::uint32_t command;
  void (*handler)(Manager&, const Request&);
  bool of_components = false;
};
constexpr std::array routes{
    Route{type_request, command_get, &handle_get, true},
    Route{type_request, command_asy_get, &handle_asy_get, true},
    Route{type_request, command_close_set, &handle_asy_close},
    Route{type_request, command_set, &handle_set, true},
    Route{type_request, command_asy_set, &handle_asy_set, true},
    Route{type_request, command_close_get, &handle_asy_close},
    Route{type_request, command_control, &handle_asy_control},
    Route{type_request, command_management, &handle_management, true},
    Route{type_request, command_event_open, &handle_event_open},
    Route{type_request, command_event_close, &handle_event_close},
    Route{type_request, command_event_send, &handle_event_send},
    Route{type_request, command_event_cancel, &handle_event_cancel},
    Route{type_request, command_lock, &handle_lock, true},
    Route{type_unlock, command_lock, &handle_unlock},
    Route{type_request, command_log_get, &handle_log_get},
    Route{type_request, command_log_check, &handle_log_check},
    Route{type_request, command_log_uncheck, &handle_log_uncheck},
    Route{type_request, command_log_delete, &handle_log_delete},
    Route{type_request, command_log_modify, &handle_log_modify},
    Route{type_request, command_data_append, &handle_append, true},
    Route{type_request, command_data_size, &handle_data_size, true},
    Route{type_request, command_application_data, &handle_wait_open},
    Route{type_request, command_wait_close, &handle_wait_close},
    Route{type_fetch, 0, &handle_fetch},
    Route{type_fetch_taken, 0, &handle_taken},
    Route{type_fetch_refused, 0, &handle_refused},
};

// The caller of an asynchronous get does not look at the reply's error: it is told by a report.
void refuse(Manager& manager, const Request& request, OX_RESULT code) {
  if (request.message.type == type_request && request.message.command == command_asy_get) {
    manager.subscriptions.report_refusal(request.session, request.message.source_id, code);
  }
  request.reply(error_reply(code));
}

}  // namespace

void route(Manager& manager, const Request& request) {
  const std::string& destination = request.message.destination;
  if (!destination.empty() && destination != oxcGetMyComm()) return refuse(manager, request, OX_ENOPIPE);
  if (request.message.refusal != OX_OK) return refuse(manager, request, request.message.refusal);
  for (const Route& row : routes) {
    if (row.type != request.message.type || row.command != request.message.command) continue;
    try {
      if (row.of_components && manager.held.holding()) return manager.held.add(request);
      return row.handler(manager, request);
    } catch (const std::bad_alloc&) {
      return refuse(manager, request, OX_ENOMEM);
    }
  }
  refuse(manager, request, OX_EUNSUPPORTED);
}

Server::Calls calls_of(Manager& manager) {
  return {.route = [&manager](const Request& request) { route(manager, request); },
          .end_session = [&manager](std::uint32_t session) { manager.end_session(session); }};
}

}  // namespace ox::manager
