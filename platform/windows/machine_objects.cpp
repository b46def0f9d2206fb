// Names are the machine's own.
#include "platform/machine_objects.h"

namespace ox::platform {

MachineObjects::~MachineObjects() = default;
Error MachineObjects::offer_blocks(const std::vector<std::string>&) { return error_none; }
Error MachineObjects::offer_event(const char*) { return error_none; }
Error MachineObjects::offer_mutex(const char*) { return error_none; }

}  // namespace ox::platform
