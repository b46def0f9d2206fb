// From a message's type and command to its handler.
#pragma once

#include "manager/requests/manager.h"
#include "manager/sessions/server.h"

namespace ox::manager {

// Calls the handler, which replies at once or later. 393 for a request to another manager, 6 for one that this manager
// does not know, 266, 3 or 85 for one whose data had to be passed over, 5 for one that its user has not the role for,
// 85 for one with which he would have too much open. What a handler throws becomes a reply.
void route(Manager& manager, const Request& request);

// What the sessions call. The manager must outlive them.
[[nodiscard]] Server::Calls calls_of(Manager& manager);

}  // namespace ox::manager
