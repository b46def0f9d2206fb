// The handlers of requests, one for each row of the router's table.
#pragma once

#include "manager/requests/manager.h"
#include "manager/sessions/request.h"

namespace ox::manager {

// The answer to the close of an asynchronous request.
inline constexpr OX_RESULT request_ended = 1;

// What answers a request with a list of nodes.
[[nodiscard]] inline auto node_answer(std::function<void(Reply)> reply) {
  return [reply = std::move(reply)](OX_RESULT result, const NodeList& nodes) { reply(node_reply(result, nodes)); };
}

void handle_get(Manager& manager, const Request& request);
void handle_set(Manager& manager, const Request& request);
void handle_management(Manager& manager, const Request& request);
void handle_backup(Manager& manager, const Request& request);
void handle_database_check(Manager& manager, const Request& request);
void handle_lock(Manager& manager, const Request& request);
void handle_unlock(Manager& manager, const Request& request);
void handle_append(Manager& manager, const Request& request);
void handle_data_size(Manager& manager, const Request& request);
// Asynchronous requests, and the fetch of reports: an ordinary one, and those that answer a delivery.
void handle_asy_get(Manager& manager, const Request& request);
void handle_asy_set(Manager& manager, const Request& request);
void handle_asy_close(Manager& manager, const Request& request);
void handle_asy_control(Manager& manager, const Request& request);
void handle_fetch(Manager& manager, const Request& request);
void handle_taken(Manager& manager, const Request& request);
void handle_refused(Manager& manager, const Request& request);
// Events.
void handle_event_open(Manager& manager, const Request& request);
void handle_event_close(Manager& manager, const Request& request);
void handle_event_send(Manager& manager, const Request& request);
void handle_event_cancel(Manager& manager, const Request& request);
void handle_log_get(Manager& manager, const Request& request);
void handle_log_check(Manager& manager, const Request& request);
void handle_log_uncheck(Manager& manager, const Request& request);
void handle_log_delete(Manager& manager, const Request& request);
void handle_log_modify(Manager& manager, const Request& request);
[[nodiscard]] std::string wait_name(const Request& request);
void handle_wait_open(Manager& manager, const Request& request);
void handle_wait_close(Manager& manager, const Request& request);

}  // namespace ox::manager
