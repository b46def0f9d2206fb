// A build without a database keeps events in plain files.
#include "manager/events/store.h"

namespace ox::manager {

std::unique_ptr<EventStore> make_event_store(const std::string& directory) { return make_file_event_store(directory); }

}  // namespace ox::manager
