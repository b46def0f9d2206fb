#include "manager/traps/check.h"

#include <oxbase/oxc.h>

#include "manager/base/file_list.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

struct Findings {
  const FaultSink& faults;
  bool sound;
};

void note(void* argument, const char* path, std::uint32_t line, OX_RESULT code, const char* subject) {
  auto& findings = *static_cast<Findings*>(argument);
  const std::string about = *subject != '\0' ? std::string(subject) + ": " : std::string();
  findings.faults(path, line, about + oxcStrError(code));
  findings.sound = false;
}

}  // namespace

bool check_trap_definitions(const FaultSink& faults) {
  Findings findings{faults, true};
  for (const char* folder : {"trap", "alblock"}) {
    for (const std::string& file : definition_files(join(oxcGetWorkdir(), "public", folder), faults, findings.sound)) {
      const OX_RESULT result = oxcTrCheckFile(file.c_str(), note, &findings);
      if (result != OX_OK) note(&findings, file.c_str(), 0, result, "");
    }
  }
  return findings.sound;
}

}  // namespace ox::manager
