// Whether the system's services run and its products are installed.
#include <iterator>

#include <oxbase/oxc.h>

#include "common/error_codes.h"
#include "common/protocol.h"
#include "common/settings.h"
#include "common/trace.h"
#include "platform/registry.h"
#include "platform/service.h"

namespace ox {
namespace {

enum Service : std::uint32_t { base, logging, expert, commands, remote_map, rules };
constexpr const char* service_names[] = {service_name, "Oxlogd",  "Oxexpd",
                                         "Oxcmd",      "Oxrmapd", "Oxexrld"};  // the rule daemon's service is spelt so

OX_RESULT read_state(std::uint32_t index, std::uint32_t* running) {
  if (index >= std::size(service_names)) return OX_EUNSUPPORTED;
  if (running == nullptr) return OX_EARG;
  bool runs = false;
  if (const auto error = platform::service_running(service_names[index], runs)) return code_of_platform_error(error);
  *running = runs ? 1 : 0;
  return OX_OK;
}

// The flag alone; a service whose state cannot be learnt counts as not running.
std::uint32_t is_running(Service service) noexcept {
  std::uint32_t running = 0;
  (void)guarded([&] { return read_state(service, &running); });
  return running;
}

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcIsServiceRunning(uint32_t index, uint32_t* running) {
  OX_ENTRY("oxcIsServiceRunning", ":%d:%x", static_cast<int>(index), ox::trace::word(running));
  return ox::traced("oxcIsServiceRunning", [&] { return ox::read_state(index, running); });
}

uint32_t OX_CALL oxcIsOxlogdRunning(void) {
  OX_ENTRY("oxcIsOxlogdRunning", "");
  return ox::traced("oxcIsOxlogdRunning", [] { return ox::is_running(ox::logging); });
}

uint32_t OX_CALL oxcIsOxexpdRunning(void) {
  OX_ENTRY("oxcIsOxexpdRunning", "");
  return ox::traced("oxcIsOxexpdRunning", [] { return ox::is_running(ox::expert); });
}

uint32_t OX_CALL oxcIsOxcmdRunning(void) {
  OX_ENTRY("oxcIsOxcmdRunning", "");
  return ox::traced("oxcIsOxcmdRunning", [] { return ox::is_running(ox::commands); });
}

uint32_t OX_CALL oxcIsOxrmapdRunning(void) {
  OX_ENTRY("oxcIsOxrmapdRunning", "");
  return ox::traced("oxcIsOxrmapdRunning", [] { return ox::is_running(ox::remote_map); });
}

uint32_t OX_CALL oxcIsOxruledRunning(void) {
  OX_ENTRY("oxcIsOxruledRunning", "");
  return ox::traced("oxcIsOxruledRunning", [] { return ox::is_running(ox::rules); });
}

uint32_t OX_CALL oxcIsOxbaseInstalled(void) {
  OX_ENTRY("oxcIsOxbaseInstalled", "");
  return ox::traced("oxcIsOxbaseInstalled",
                    []() -> uint32_t { return ox::platform::registry_has_key(ox::settings::registry_key) ? 1 : 0; });
}

uint32_t OX_CALL oxcIsOxwatchInstalled(void) {
  OX_ENTRY("oxcIsOxwatchInstalled", "");
  return ox::traced("oxcIsOxwatchInstalled",
                    []() -> uint32_t { return ox::platform::registry_has_key("SOFTWARE\\CORVID\\OXWATCH") ? 1 : 0; });
}
