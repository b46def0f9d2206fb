#include "manager/base/faults.h"

#include <oxbase/oxc.h>

namespace ox::manager {

void LibraryFaults::note(void* faults, const char* path, std::uint32_t line, OX_RESULT code, const char* subject) {
  auto& to = *static_cast<LibraryFaults*>(faults);
  to.sound = false;
  to.sink(path, line, (*subject != '\0' ? std::string(subject) + ": " : std::string()) + oxcStrError(code));
}

}  // namespace ox::manager
