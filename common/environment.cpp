// What the library asks about the machine and the user that it runs for.
#include "platform/environment.h"

#include <oxbase/oxc.h>

#include "common/error_codes.h"
#include "common/fixed_message.h"
#include "common/once_text.h"
#include "common/settings.h"
#include "common/text_result.h"
#include "common/trace.h"
#include "platform/system_log.h"

namespace ox {

bool settings::language_is_japanese() noexcept { return platform::language_is_japanese(); }

namespace {

constinit OnceText host_name([] { return platform::computer_name(); });

OX_RESULT check_ipv6() {
  if (settings::number("EnableV6", 0) == 0) return OX_EUNSUPPORTED;
  platform::OsVersion version;
  if (const auto error = platform::os_version(version)) return code_of_platform_error(error);
  const bool has_stack = version.family == 2 && (version.major > 5 || (version.major == 5 && version.minor >= 2));
  if (!has_stack) return OX_EUNSUPPORTED;
  return platform::has_ipv6() ? OX_OK : OX_ENOV6;
}

OX_RESULT check_user() {
  const char* group = settings::local_group();
  if (*group == '\0') return OX_OK;
  bool member = false;
  if (const auto error = platform::user_in_group(group, member)) {
    // Nobody can be a member then. The code alone would not tell the administrator what to repair.
    (void)platform::system_log("TesBaseService", 1, fixed_message(FixedMessage::no_group, {}, error).c_str());
    return code_of_platform_error(error);
  }
  return member ? OX_OK : OX_EDENIED;
}

}  // namespace
}  // namespace ox

uint32_t OX_CALL oxcGetEnvLang(void) {
  OX_ENTRY("oxcGetEnvLang", "");
  return ox::traced("oxcGetEnvLang", []() -> uint32_t { return ox::settings::language_is_japanese() ? 1 : 2; });
}

uint32_t OX_CALL oxcGetEnvProduct(void) {
  OX_ENTRY("oxcGetEnvProduct", "");
  return ox::traced("oxcGetEnvProduct", []() -> uint32_t { return ox::settings::language_is_japanese() ? 2 : 3; });
}

uint32_t OX_CALL oxcGetEnvOs(void) {
  OX_ENTRY("oxcGetEnvOs", "");
  return ox::traced("oxcGetEnvOs", []() -> uint32_t { return 1; });
}

const char* OX_CALL oxcGetMyHostName(void) {
  OX_ENTRY("oxcGetMyHostName", "");
  return ox::traced_text("oxcGetMyHostName", [] { return ox::host_name.get(); });
}

OX_RESULT OX_CALL oxcIsV6Ready(void) {
  OX_ENTRY("oxcIsV6Ready", "");
  return ox::traced("oxcIsV6Ready", ox::check_ipv6);
}

uint32_t OX_CALL oxcCheck64BitWindows(void) {
  OX_ENTRY("oxcCheck64BitWindows", "");
  return ox::traced("oxcCheck64BitWindows", []() -> uint32_t { return ox::platform::is_64_bit_system() ? 1 : 0; });
}

OX_RESULT OX_CALL oxcCheckUser(uint32_t level) {
  OX_ENTRY("oxcCheckUser", ":%d", static_cast<int>(level));
  return ox::traced("oxcCheckUser", ox::check_user);  // one group grants every level
}
