#include "manager/traps/check.h"

#include <oxbase/oxc.h>

#include "manager/file_list.h"
#include "manager/paths.h"

namespace ox::manager {
namespace {

struct Findings {
  const Report& report;
  bool sound;
};

void note(void* argument, const char* path, std::uint32_t line, OX_RESULT code, const char* subject) {
  auto& findings = *static_cast<Findings*>(argument);
  const std::string about = *subject != '\0' ? std::string(subject) + ": " : std::string();
  findings.report(path, line, about + oxcStrError(code));
  findings.sound = false;
}

}  // namespace

bool check_trap_definitions(const Report& report) {
  Findings findings{report, true};
  for (const char* folder : {"trap", "alblock"}) {
    for (const std::string& file : definition_files(join(oxcGetWorkdir(), "public", folder), report, findings.sound)) {
      const OX_RESULT result = oxcTrCheckFile(file.c_str(), note, &findings);
      if (result != OX_OK) note(&findings, file.c_str(), 0, result, "");
    }
  }
  return findings.sound;
}

}  // namespace ox::manager
