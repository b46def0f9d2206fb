// Descriptions of nodes.
#pragma once

#include <oxbase/oxtypes.h>

#include "amib/fault_sink.h"

namespace ox::amib {

// Tells every fault of a file of descriptions.
OX_RESULT check_description_file(const char* path, const FaultSink& faults);

}  // namespace ox::amib
