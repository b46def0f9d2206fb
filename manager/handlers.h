// The handlers of requests, one for each row of the router's table.
#pragma once

#include "manager/manager.h"
#include "manager/request.h"

namespace ox::manager {

void handle_get(Manager& manager, const Request& request);
void handle_set(Manager& manager, const Request& request);
void handle_management(Manager& manager, const Request& request);
void handle_lock(Manager& manager, const Request& request);
void handle_unlock(Manager& manager, const Request& request);
void handle_append(Manager& manager, const Request& request);
void handle_data_size(Manager& manager, const Request& request);
// Control and close of an asynchronous request, and the fetch of reports.
void handle_no_subscription(Manager& manager, const Request& request);
void handle_fetch(Manager& manager, const Request& request);

}  // namespace ox::manager
