#include "deffile/daemon_settings.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/lasting.h"
#include "common/number_text.h"
#include "common/paths.h"
#include "common/text_result.h"
#include "deffile/entry_lines.h"
#include "platform/fork.h"
#include "platform/unlinked_file.h"

namespace ox {
namespace {

constexpr char default_name[] = "manager1";
constexpr std::size_t name_limit = 64;

std::string first_value(char* text) {
  char* value = nullptr;
  std::uint32_t count = 0;
  (void)oxcToken(text, nullptr, &value, 1, &count);  // further values and an open quote do not matter here
  return count != 0 ? value : std::string();
}

std::string make_manager_name() {
  const std::string configured = daemon_setting("CommunityName");
  if (!configured.empty()) return comm_namecheck(configured) ? configured : default_name;
  const std::string_view host = oxcGetMyHostName();
  std::string name = "mgr_";
  name += host;
  return !host.empty() && comm_namecheck(name) ? name : default_name;
}

struct ManagerName {
  std::mutex lock;  // guards the name until it is there
  const bool free_in_child = platform::free_in_forked_child(lock);
  std::string name;
};
Lasting<ManagerName> known;

// Made once: others know this process under it.
const char* manager_name() {
  try {
    const std::lock_guard lock(known->lock);
    if (known->name.empty()) known->name = make_manager_name();
    return known->name.c_str();
  } catch (const std::bad_alloc&) {
    return default_name;
  }
}

std::uint32_t port_number() {
  constexpr std::uint32_t default_port = 8806;
  constexpr std::uint32_t last_port = 65535;
  std::uint64_t port = 0;
  const OX_RESULT result = parse_unsigned(daemon_setting("SockPort").c_str(), 10, last_port, port);
  return result == OX_OK && port != 0 ? static_cast<std::uint32_t>(port) : default_port;
}

}  // namespace

std::string daemon_settings_path() { return work_path({"conf", "oxmgrd.cf"}); }

std::string daemon_setting(std::string_view keyword) {
  platform::UnlinkedFile lies_there;
  if (lies_there.open(daemon_settings_path()) != platform::error_none) return {};
  const OwnedFile file = open_definition_file(lies_there.name().c_str());
  if (!file) return {};
  const auto lines = std::make_unique<EntryLines>();
  for (;;) {
    const OX_RESULT result = lines->next(file.get());
    if (result == OX_OK && lines->keyword() == keyword) return first_value(lines->value_text());
    if (result != OX_OK && result != OX_ESYNTAX && result != OX_EKEYLONG) return {};
  }
}

bool comm_namecheck(std::string_view name) noexcept {
  return !name.empty() && name.size() < name_limit && std::all_of(name.begin(), name.end(), [](char c) {
    return is_letter(c) || is_digit(c) || c == '-' || c == '_' || c == '.';
  });
}

}  // namespace ox

const char* OX_CALL oxcGetMyComm(void) {
  OX_ENTRY("oxcGetMyComm", "");
  return ox::traced_text("oxcGetMyComm", ox::manager_name);
}

uint32_t OX_CALL oxcGetPortNumber(void) {
  OX_ENTRY("oxcGetPortNumber", "");
  return ox::traced("oxcGetPortNumber", ox::port_number);
}
