// The calling thread's definition file: one at a time, for reading or for writing.
#pragma once

#include "deffile/entry_lines.h"

namespace ox {

struct EntryStream {
  OwnedFile file;
  EntryLines lines;
};

// Throws std::bad_alloc on a thread's first use only.
[[nodiscard]] EntryStream& entry_stream();

}  // namespace ox
