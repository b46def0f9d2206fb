#include "manager/base/log.h"

#include <cstdint>
#include <cstdio>

#include "platform/system_log.h"

namespace ox::manager {
namespace {

enum class Place { system, both, terminal };
Place place = Place::system;

const char* word(Severity severity) {
  if (severity == Severity::error) return "error: ";
  return severity == Severity::warning ? "warning: " : "";
}

void show(Severity severity, const char* text) {
  std::fprintf(stderr, "oxmgrd: %s%s\n", word(severity), text);
  std::fflush(stderr);
}

}  // namespace

void log_to_stderr() { place = Place::terminal; }
void log_of_start() { place = Place::both; }

void log_of_run() {
  if (place != Place::both) return;
  show(Severity::information, ("running; its log: " + platform::system_log_place()).c_str());
  place = Place::system;
}

void log(Severity severity, const char* text) {
  if (place == Place::terminal || (place == Place::both && severity != Severity::information)) show(severity, text);
  if (place == Place::terminal) return;
  (void)platform::system_log("TesBaseService", static_cast<std::uint32_t>(severity), text);
}

}  // namespace ox::manager
