#include "platform/system_log.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "platform/environment.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/root.h"

namespace ox::platform {
namespace {

struct Kind {
  std::uint32_t type;
  int priority;
  const char* word;
};
constexpr Kind kinds[] = {{1, LOG_ERR, "error"}, {2, LOG_WARNING, "warning"}, {4, LOG_INFO, "information"}};

const Kind& kind_of(std::uint32_t type) noexcept {
  for (const Kind& kind : kinds) {
    if (kind.type == type) return kind;
  }
  return kinds[2];
}

// A root that has a file for it gets its own copy: one line in one write, so that processes do not mix.
void append_to_file(const char* source, const Kind& kind, const char* text) {
  const Descriptor file(::open((root()->path + "/system.log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
  if (!file) return;
  char stamp[32];
  tm parts{};
  const time_t now = ::time(nullptr);
  (void)std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", ::gmtime_r(&now, &parts));
  std::string line = std::string(stamp) + " " + source + "[" + std::to_string(process_id()) + "] " + kind.word + ": ";
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c != '\r') line += *c == '\n' ? ' ' : *c;
  }
  line += '\n';
  (void)!::write(file.get(), line.data(), line.size());
}

}  // namespace

Error system_log(const char* source, std::uint32_t type, const char* text) noexcept {
  if (source == nullptr || text == nullptr) return fail(error_invalid_parameter);
  const Kind& kind = kind_of(type);
  ::syslog(LOG_USER | kind.priority, "%s: %s", source, text);
  try {
    append_to_file(source, kind, text);
  } catch (const std::bad_alloc&) {
    return fail(error_out_of_memory);
  }
  return error_none;
}

std::string system_log_place() {
  const std::string copy = root()->path + "/system.log";
  const std::string syslog = std::string("journalctl -t ") + ::program_invocation_short_name + ", or /var/log/syslog";
  return ::access(copy.c_str(), W_OK) == 0 ? copy : syslog + "; a file " + copy + ", once it is there, has a copy";
}

// The service manager names the process that it started; children inherit the variable, not the id.
bool is_service_process() noexcept {
  const char* started = std::getenv("SYSTEMD_EXEC_PID");
  if (started == nullptr) return false;
  std::uint32_t id = 0;
  const char* end = started + std::strlen(started);
  const auto [rest, error] = std::from_chars(started, end, id);
  return error == std::errc() && rest == end && id == process_id();
}

void message_box(const char* title, const char* text) noexcept {
  (void)std::fprintf(stderr, "%s: %s\n", title != nullptr ? title : "", text != nullptr ? text : "");
}

}  // namespace ox::platform
