#include "manager/requests/router.h"

#include <array>
#include <new>

#include <oxbase/oxc.h>

#include "common/protocol.h"
#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

using Held = HeldRequests;
constexpr std::uint32_t components = std::uint32_t{Held::components} | Held::components_database;
// Stored values are in memory; some others come from the databases.
constexpr std::uint32_t reading = std::uint32_t{Held::components} | Held::collected | Held::runs;
constexpr std::uint32_t values = components | reading;

// A registration of the user. One that may be another's is closed on its own account, by the handler.
enum class Account : std::uint8_t { nothing, opens, closes };

// The role is what the request takes wherever it applies; for what the user has it is the handler's to see.
struct Route {
  std::uint32_t type;
  std::uint32_t command;
  void (*handler)(Manager&, const Request&);
  Role role;
  std::uint32_t needs = 0;  // of HeldRequests
  Account account = Account::nothing;
};
constexpr std::array routes{
    Route{type_request, command_get, &handle_get, Role::read, reading},
    Route{type_request, command_asy_get, &handle_asy_get, Role::read, reading, Account::opens},
    Route{type_request, command_close_set, &handle_asy_close, Role::none, 0, Account::closes},
    Route{type_request, command_set, &handle_set, Role::operate, values},
    Route{type_request, command_asy_set, &handle_asy_set, Role::operate, values, Account::opens},
    Route{type_request, command_close_get, &handle_asy_close, Role::none, 0, Account::closes},
    Route{type_request, command_control, &handle_asy_control, Role::none},
    Route{type_request, command_management, &handle_management, Role::read, values},
    Route{type_request, command_event_open, &handle_event_open, Role::operate, 0, Account::opens},
    Route{type_request, command_event_close, &handle_event_close, Role::none, 0, Account::closes},
    Route{type_request, command_event_send, &handle_event_send, Role::operate},
    Route{type_request, command_event_cancel, &handle_event_cancel, Role::operate, Held::events},
    Route{type_request, command_lock, &handle_lock, Role::operate, components, Account::opens},
    Route{type_unlock, command_lock, &handle_unlock, Role::none},
    Route{type_request, command_log_get, &handle_log_get, Role::read, Held::events},
    Route{type_request, command_log_check, &handle_log_check, Role::operate, Held::events},
    Route{type_request, command_log_uncheck, &handle_log_uncheck, Role::operate, Held::events},
    Route{type_request, command_log_delete, &handle_log_delete, Role::operate, Held::events},
    Route{type_request, command_log_modify, &handle_log_modify, Role::operate, Held::events},
    Route{type_request, command_data_append, &handle_append, Role::operate, values},
    Route{type_request, command_data_size, &handle_data_size, Role::read, reading},
    Route{type_request, command_application_data, &handle_wait_open, Role::operate, Held::events, Account::opens},
    Route{type_request, command_wait_close, &handle_wait_close, Role::none, Held::events},
    Route{type_fetch, 0, &handle_fetch, Role::none},
    Route{type_fetch_taken, 0, &handle_taken, Role::none},
    Route{type_fetch_refused, 0, &handle_refused, Role::none},
};

// The caller of an asynchronous get does not look at the reply's error: it is told by a report.
void refuse(Manager& manager, const Request& request, OX_RESULT code) {
  if (request.message.type == type_request && request.message.command == command_asy_get) {
    manager.subscriptions.report_refusal(request.session, request.message.source_id, code);
  }
  request.reply(error_reply(code));
}

// The registration counts when the reply says that it is there, or gone.
Request on_account(Manager& manager, const Request& request, Account account) {
  const auto book = [&manager, session = request.session, user = request.rights->shared_user(), account,
                     reply = request.reply](Reply answer) {
    const bool done = answer.error == OX_OK || (account == Account::closes && answer.error == request_ended);
    if (done && account == Account::opens) manager.registrations.opened(session, user);
    if (done && account == Account::closes) manager.registrations.closed(session);
    reply(std::move(answer));
  };
  return {request.session, request.message, book, request.rights};
}

// Whether the user will have one more than before: a wait takes the place of its name.
bool adds(const Manager& manager, const Request& request, const Route& row) {
  if (row.account != Account::opens) return false;
  const bool is_wait = row.command == command_application_data;
  return !is_wait || !manager.waits.counts_for(request.rights->user(), wait_name(request));
}

// 0, or why it is not even looked at.
OX_RESULT check(const Manager& manager, const Request& request, const Route& row) {
  if (!request.rights) return OX_EDENIED;
  const Rights& rights = *request.rights;
  if (!rights.may_anywhere(row.role)) {
    rights.refuse("request " + std::to_string(row.command), rights.highest(), row.role);
    return OX_EDENIED;
  }
  if (rights.user().holds.registrations < manager.settings.user_registrations || !adds(manager, request, row)) {
    return OX_OK;
  }
  rights.user().refused("request " + std::to_string(row.command),
                        "he has as many watches, waits, names of waits, locks and senders as UserRegistrations allows");
  return OX_ETOOMANY;
}

}  // namespace

void route(Manager& manager, const Request& request) {
  const std::string& destination = request.message.destination;
  if (!destination.empty() && destination != oxcGetMyComm()) return refuse(manager, request, OX_ENOPIPE);
  if (request.message.refusal != OX_OK) return refuse(manager, request, request.message.refusal);
  for (const Route& row : routes) {
    if (row.type != request.message.type || row.command != request.message.command) continue;
    try {
      if (const OX_RESULT result = check(manager, request, row)) return refuse(manager, request, result);
      if ((row.needs & manager.held.reasons()) != 0) return manager.held.add(request);
      if (row.account == Account::nothing) return row.handler(manager, request);
      return row.handler(manager, on_account(manager, request, row.account));
    } catch (const std::bad_alloc&) {
      return refuse(manager, request, OX_ENOMEM);
    }
  }
  refuse(manager, request, OX_EUNSUPPORTED);
}

Server::Calls calls_of(Manager& manager) {
  return {.route = [&manager](const Request& request) { route(manager, request); },
          .end_session = [&manager](std::uint32_t session) { manager.end_session(session); },
          .rights_of =
              [&manager](const platform::Peer& peer) {
                return manager.access.rights_of(peer, manager.users.of(peer.user));
              }};
}

}  // namespace ox::manager
