#include "manager/requests/router.h"

#include <array>
#include <new>

#include <oxbase/oxc.h>

#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

struct Route {
  std::uint32_t type;
  std::uint32_t command;
  void (*handler)(Manager&, const Request&);
};
constexpr std::array routes{
    Route{1, 1, &handle_get},          Route{1, 2, &handle_asy_get},      Route{1, 3, &handle_asy_close},
    Route{1, 4, &handle_set},          Route{1, 5, &handle_asy_set},      Route{1, 6, &handle_asy_close},
    Route{1, 7, &handle_asy_control},  Route{1, 8, &handle_management},   Route{1, 10, &handle_event_open},
    Route{1, 11, &handle_event_close}, Route{1, 12, &handle_event_send},  Route{1, 13, &handle_event_cancel},
    Route{1, 14, &handle_lock},        Route{4, 14, &handle_unlock},      Route{1, 15, &handle_log_get},
    Route{1, 16, &handle_log_check},   Route{1, 17, &handle_log_uncheck}, Route{1, 18, &handle_log_delete},
    Route{1, 19, &handle_log_modify},  Route{1, 21, &handle_append},      Route{1, 22, &handle_data_size},
    Route{1, 25, &handle_wait_open},   Route{1, 26, &handle_wait_close},  Route{5, 0, &handle_fetch},
    Route{7, 0, &handle_taken},        Route{8, 0, &handle_refused},
};

constexpr std::uint32_t type_request = 1;
constexpr std::uint32_t command_asy_get = 2;

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
