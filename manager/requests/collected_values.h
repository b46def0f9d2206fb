// What has been collected, as gets name it: the binaries of a data entry, and over a log entry its values and its
// ledger.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "manager/requests/manager.h"
#include "manager/requests/values.h"
#include "manager/sessions/request.h"

namespace ox::manager {

// One of the two binaries of a data entry.
struct CollectedBinary {
  ComponentName component;
  Oid path;
  EntryId id = 0;
  bool header = false;
};
// Nothing when the request names anything else, or the entry has none of its own: it may have stored ones.
[[nodiscard]] std::optional<CollectedBinary> collected_binary(const Manager& manager, const std::string& component,
                                                              const std::string& names);

// Answers a get of what has been collected. False for any other.
[[nodiscard]] bool answer_collected(Manager& manager, const Request& request, const GetRequest& get);

// The data entries of a log entry that have something, in the order of their numbers.
[[nodiscard]] std::vector<EntryId> data_of(const Manager& manager, const ComponentName& log_entry);

}  // namespace ox::manager
