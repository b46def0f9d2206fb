#include "manager/base/log.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "common/terminal_text.h"
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
  try {
    print(stderr, std::string("oxmgrd: ") + word(severity) + text + '\n');
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "oxmgrd: %s%s\n", word(severity), text);
    std::fflush(stderr);
  }
}

void note(Severity severity, const char* text) {
  const auto put = [severity](const char* line) {
    (void)platform::system_log("TesBaseService", static_cast<std::uint32_t>(severity), line);
  };
  try {
    put(system_text(text).c_str());
  } catch (const std::bad_alloc&) {
    put(text);
  }
}

void write(Severity severity, const char* text) {
  if (place == Place::terminal || (place == Place::both && severity != Severity::information)) show(severity, text);
  if (place != Place::terminal) note(severity, text);
}

// A line that comes again and again: shown twice, then counted until another one comes, or a minute is over.
struct Repeats {
  static constexpr std::size_t longest = 256;
  static constexpr std::uint64_t most_shown = 2;
  static constexpr auto window = std::chrono::minutes(1);

  std::mutex lock;
  char text[longest] = "";
  std::uint64_t count = 0;
  std::chrono::steady_clock::time_point until{};

  // Whether the line is only counted. What has been counted is told before another one.
  [[nodiscard]] bool take(const char* line) {
    const auto now = std::chrono::steady_clock::now();
    if (now < until && std::strncmp(text, line, longest) == 0) return ++count > most_shown;
    if (count > most_shown) {
      char told[longest];
      std::snprintf(told, sizeof told, "%llu more lines like that: %.200s",
                    static_cast<unsigned long long>(count - most_shown), text);
      write(Severity::warning, told);
    }
    std::snprintf(text, sizeof text, "%s", std::strlen(line) < longest ? line : "");
    count = 1;
    until = now + window;
    return false;
  }
};
Repeats repeats;

}  // namespace

void log_to_stderr() { place = Place::terminal; }
void log_of_start() { place = Place::both; }

void log_of_run() {
  if (place != Place::both) return;
  show(Severity::information, ("running; its log: " + platform::system_log_place()).c_str());
  place = Place::system;
}

void log(Severity severity, const char* text) {
  const std::lock_guard lock(repeats.lock);
  if (!repeats.take(text)) write(severity, text);
}

}  // namespace ox::manager
