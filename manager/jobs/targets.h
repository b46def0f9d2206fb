// The components of which a log entry collects.
#pragma once

#include "manager/jobs/collector_tools.h"
#include "manager/jobs/log_collection.h"

namespace ox::manager {

// Finds them, if components have come or gone since: what is known of those that stay is kept. A component that is
// named and not there is one of them. False for a name that cannot be read.
[[nodiscard]] bool find_targets(const CollectorTools& tools, LogCollection& entry);

}  // namespace ox::manager
