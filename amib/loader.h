// Loads definition files into the selected tree.
#pragma once

#include <oxbase/oxb.h>

#include "amib/fault_sink.h"

namespace ox::amib {

OX_RESULT add_file(const char* path);

// Loads a file as add_file does, save that a faulty line does not end it: every fault is told, each missing parent
// once, and nothing of what stands below a faulty line. A file with faults leaves the tree as it was, too; the first of
// their codes is the result.
OX_RESULT add_file_telling(const char* path, const FaultSink& faults);

// Loads the files that are not done, in passes, until all are in or a pass brings no progress. Fails for what no order
// of the files can mend.
OX_RESULT add_in_passes(oxbFileEntry* list);

}  // namespace ox::amib
