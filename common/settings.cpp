#include "common/settings.h"

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/once_text.h"
#include "common/paths.h"
#include "common/text_result.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/registry.h"

namespace ox::settings {

std::uint32_t number(const char* name, std::uint32_t absent) {
  std::uint32_t value = 0;
  return platform::registry_read(registry_key, name, value) == platform::error_none ? value : absent;
}

std::string text(const char* name, std::uint32_t limit) {
  std::string value;
  return platform::registry_read(registry_key, name, value, limit) == platform::error_none ? value : std::string();
}

namespace {

// "C:\base\" names the same directory as "C:\base"; of several trailing separators only the last one goes.
std::string directory(const char* name) {
  std::string path = text(name, OnceText::longest);
  drop_last_separator(path);
  return path;
}

constinit OnceText root_text(platform::system_root);
constinit OnceText home_text([] { return directory("HomeDir"); });
constinit OnceText work_text([] { return directory("WorkDir"); });
constinit OnceText locale_text([] { return text("Locale", 64); });
constinit OnceText time_zone_text([] { return text("TimeZone", 64); });
constinit OnceText version_text([] { return text("CurrentVersion", 10); });
constinit OnceText group_text([] { return text("LocalGroup", OnceText::longest); });

}  // namespace

const char* home_directory() noexcept { return home_text.get(); }
const char* work_directory() noexcept { return work_text.get(); }
const char* time_zone() noexcept { return time_zone_text.get(); }
const char* local_group() noexcept { return group_text.get(); }

std::uint32_t read_brand(std::uint32_t& id) {
  const platform::Error error = platform::registry_read(registry_key, "Branding", id);
  if (error != platform::error_file_not_found) return error;
  id = default_brand;
  return platform::error_none;
}

namespace {

// 1 when the value equals the text without regard to case, 0 when it differs.
std::uint32_t is_text(const char* name, std::uint32_t limit, const char* expected, std::uint32_t absent) {
  std::string value;
  if (platform::registry_read(registry_key, name, value, limit) != platform::error_none) return absent;
  return equal_no_case(value, expected) ? 1 : 0;
}

}  // namespace
}  // namespace ox::settings

namespace settings = ox::settings;

const char* OX_CALL oxcGetSystemRoot(void) {
  OX_ENTRY("oxcGetSystemRoot", "");
  return ox::traced_text("oxcGetSystemRoot", [] { return settings::root_text.get(); });
}

const char* OX_CALL oxcGetHomedir(void) {
  OX_ENTRY("oxcGetHomedir", "");
  return ox::traced_text("oxcGetHomedir", [] { return settings::home_directory(); });
}

const char* OX_CALL oxcGetWorkdir(void) {
  OX_ENTRY("oxcGetWorkdir", "");
  return ox::traced_text("oxcGetWorkdir", [] { return settings::work_directory(); });
}

const char* OX_CALL oxcGetLocale(void) {
  OX_ENTRY("oxcGetLocale", "");
  return ox::traced_text("oxcGetLocale", [] { return settings::locale_text.get(); });
}

const char* OX_CALL oxcGetTimeZone(void) {
  OX_ENTRY("oxcGetTimeZone", "");
  return ox::traced_text("oxcGetTimeZone", [] { return settings::time_zone(); });
}

const char* OX_CALL oxcGetOxbaseVersion(void) {
  OX_ENTRY("oxcGetOxbaseVersion", "");
  return ox::traced_text("oxcGetOxbaseVersion", [] { return settings::version_text.get(); });
}

const char* OX_CALL oxcGetLocalGroup(void) {
  OX_ENTRY("oxcGetLocalGroup", "");
  return ox::traced_text("oxcGetLocalGroup", [] { return settings::local_group(); });
}

uint32_t OX_CALL oxcGetKeepAliveFlag(void) {
  OX_ENTRY("oxcGetKeepAliveFlag", "");
  return ox::traced("oxcGetKeepAliveFlag", [] { return settings::is_text("KeepAliveFlag", 16, "on", 0); });
}

uint32_t OX_CALL oxcIsNetWareUsed(void) {
  OX_ENTRY("oxcIsNetWareUsed", "");
  // An absent value counts as used: installations that never wrote it rely on that.
  return ox::traced("oxcIsNetWareUsed", [] { return settings::is_text("UseNetWare", 256, "True", 1); });
}

OX_RESULT OX_CALL oxcGetBrandingID(uint32_t* id) {
  OX_ENTRY("oxcGetBrandingID", ":%x", ox::trace::word(id));
  return ox::traced("oxcGetBrandingID", [&]() -> OX_RESULT {
    if (id == nullptr) return OX_EARG;
    return settings::read_brand(*id);
  });
}
