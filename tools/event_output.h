// Events for people and for machines.
#pragma once

#include <oxbase/oxe.h>

namespace tool {

// Prints each event of a list on a line of its own: number, time, level, component and texts; or as a JSON object of
// its fields, named as the library names them.
void print_events(const evmsg* list, bool json);

}  // namespace tool
