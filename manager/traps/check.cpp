#include "manager/traps/check.h"

#include <oxbase/oxc.h>

#include "manager/base/file_list.h"
#include "manager/base/paths.h"

namespace ox::manager {
bool check_trap_definitions(const FaultSink& faults) {
  LibraryFaults told{faults};
  for (const char* folder : {"trap", "alblock"}) {
    for (const std::string& file : definition_files(join(oxcGetWorkdir(), "public", folder), faults, told.sound)) {
      const OX_RESULT result = oxcTrCheckFile(file.c_str(), LibraryFaults::note, &told);
      if (result != OX_OK) LibraryFaults::note(&told, file.c_str(), 0, result, "");
    }
  }
  return told.sound;
}

}  // namespace ox::manager
