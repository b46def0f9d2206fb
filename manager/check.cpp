#include "manager/check.h"

#include <algorithm>
#include <charconv>
#include <set>

#include <oxbase/oxc.h>

#include "manager/at_work.h"
#include "manager/base/access_rules.h"
#include "manager/base/attributes.h"
#include "manager/base/paths.h"
#include "manager/base/settings.h"
#include "manager/base/store_page.h"
#include "manager/base/zone.h"
#include "manager/check_rights.h"
#include "manager/components/vocabulary.h"
#include "manager/definitions.h"
#include "manager/requests/databases.h"
#include "manager/traps/check.h"
#include "manager/traps/sources.h"

namespace ox::manager {
namespace {

// One line of the message file: "code: text", ended by CR LF. The set holds the codes that were there before.
std::string message_fault(std::string_view line, std::set<std::uint32_t>& codes) {
  if (!line.ends_with('\r')) return "the line must end in CR LF";
  std::uint32_t code = 0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), code);
  if (error != std::errc{} || *end != ':') return "no code and colon";
  return codes.insert(code).second ? std::string() : "code " + std::to_string(code) + " is there already";
}

bool check_messages(const std::string& file, const FaultSink& faults) {
  std::string text;
  if (!read_file(file, text) || text.empty()) {
    faults(file, 0, "missing or empty");
    return false;
  }
  bool sound = true;
  std::set<std::uint32_t> codes;
  std::uint32_t line = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    ++line;
    const std::string fault = message_fault(std::string_view(text).substr(at, end - at), codes);
    if (!fault.empty()) {
      faults(file, line, fault);
      sound = false;
    }
    at = end + 1;
  }
  return sound;
}

bool check_all_messages(const FaultSink& faults) {
  bool sound = true;
  for (const char* language : {"0409", "0411"}) {
    sound = check_messages(join(oxcGetHomedir(), "LIB", "LOCALE", language, "OXERROR.MSG"), faults) && sound;
  }
  return sound;
}

// Not a fault: all else goes on without.
void look_at_echoes(const Tell& tell) {
  std::uint32_t round_trip = 0;
  if (oxcIcmpEcho("127.0.0.1", 1000, &round_trip) != OX_EDENIED) return;
  tell(
      "note: whether nodes are reachable is not measured: the system lets this account send no ICMP echoes; next (on "
      "Linux): sysctl -w net.ipv4.ping_group_range='0 2147483647', a range with its group");
}

}  // namespace

bool check_installation(const FaultSink& faults, const Tell& tell) {
  if (*oxcGetHomedir() == '\0' || *oxcGetWorkdir() == '\0') {
    faults("registry", 0, "HomeDir and WorkDir are not set");
    return false;
  }
  bool sound = check_all_messages(faults);
  sound = check_rights(faults) && sound;
  for (const std::string& fault : {zone_fault(), page_fault()}) {
    if (fault.empty()) continue;
    faults("registry", 0, fault);
    sound = false;
  }
  Settings settings;
  sound = read_settings(settings_file(), settings, faults) && sound;
  const std::vector<std::string> amib = sound_amib_files(faults, sound);
  Vocabulary vocabulary;
  sound = vocabulary.read(oxcGetWorkdir(), faults) && sound;
  const auto check_access = [&] {
    AccessRules rules;
    const auto type_name = [&](std::string_view type) {
      const std::string name = vocabulary.canonical_type(type);
      return vocabulary.has_type(name) ? name : std::string();
    };
    sound = rules.read(access_file(), type_name, faults) && sound;
  };
  sound = TrapSources().read(trap_sources_file(), faults) && sound;
  if (!amib.empty()) with_scratch_tree(amib, check_access);
  sound = check_trap_definitions(faults) && sound;
  const std::string data = join(oxcGetWorkdir(), "data");
  if (const std::string warning = page_warning(data); !warning.empty()) tell(warning);
  look_at_echoes(tell);
  if (const auto told = ask_manager(database_check_code, faults, tell)) return *told && sound;
  return check_databases(data, faults, tell) && sound;
}

}  // namespace ox::manager
