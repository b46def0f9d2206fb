#include "manager/at_work.h"

#include <oxbase/oxa.h>
#include <oxbase/oxc.h>

#include "manager/base/node_list.h"
#include "manager/components/stored_value.h"

namespace ox::manager {

std::optional<bool> ask_manager(std::uint32_t code, const FaultSink& faults, const Tell& tell) {
  if (oxaInit(nullptr) != OX_OK) return {};
  NodeList lines;
  const OX_RESULT result = oxaMgmtControl(nullptr, code, nullptr, lines.out());
  for (const dnode* line = lines.get(); line != nullptr; line = oxdNext(line)) {
    code_of(line) == OX_OK ? tell(text_of(line)) : faults("manager", 0, text_of(line));
  }
  if (result == OX_ETOOMANY) {
    faults("manager", 0, "a check or a backup is under way; try again when it has ended");
  } else if (result != OX_OK && lines.empty()) {
    faults("manager", 0, std::string("asked for it: ") + oxcStrError(result));
  }
  return result == OX_OK;
}

}  // namespace ox::manager
