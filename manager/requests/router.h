// From a message's type and command to its handler.
#pragma once

#include "manager/requests/manager.h"
#include "manager/sessions/server.h"

namespace ox::manager {

// Calls the handler, which replies at once or later. 393 for a request to another manager, 6 for one that this manager
// does not know, 266 or 3 for one whose data had to be passed over. What a handler throws becomes a reply.
void route(Manager& manager, const Request& request);

// What the sessions call. The manager must outlive them.
[[nodiscard]] Server::Calls calls_of(Manager& manager);

}  // namespace ox::manager
