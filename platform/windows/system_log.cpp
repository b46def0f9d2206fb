#include "platform/system_log.h"

#include <windows.h>

#include <cstdio>
#include <string>

#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

// A private system whose folder has a file for it gets its own copy: one line in one write.
void append_to_file(const char* source, std::uint32_t type, const char* text) {
  const std::string& folder = private_system();
  if (folder.empty()) return;
  const Handle file(::CreateFileA((folder + "\\system.log").c_str(), FILE_APPEND_DATA,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!file) return;
  SYSTEMTIME now{};
  ::GetSystemTime(&now);
  char stamp[32];
  (void)std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02dT%02d:%02d:%02dZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                      now.wMinute, now.wSecond);
  const char* word = type == EVENTLOG_ERROR_TYPE ? "error" : type == EVENTLOG_WARNING_TYPE ? "warning" : "information";
  std::string line =
      std::string(stamp) + " " + source + "[" + std::to_string(::GetCurrentProcessId()) + "] " + word + ": ";
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c != '\r') line += *c == '\n' ? ' ' : *c;
  }
  line += "\r\n";
  DWORD put = 0;
  (void)::WriteFile(file.get(), line.data(), static_cast<DWORD>(line.size()), &put, nullptr);
}

}  // namespace

Error system_log(const char* source, std::uint32_t type, const char* text) noexcept {
  if (source == nullptr || text == nullptr) return fail(error_invalid_parameter);
  const HANDLE log = ::RegisterEventSourceA(nullptr, source);
  if (log == nullptr) return fail_last();
  const bool known = type == EVENTLOG_ERROR_TYPE || type == EVENTLOG_WARNING_TYPE;
  const auto kind = static_cast<WORD>(known ? type : DWORD{EVENTLOG_INFORMATION_TYPE});
  const BOOL reported = ::ReportEventA(log, kind, 0, 0, nullptr, 1, 0, &text, nullptr);
  const Error error = reported == FALSE ? fail_last() : error_none;
  (void)::DeregisterEventSource(log);
  try {
    append_to_file(source, type, text);
  } catch (const std::bad_alloc&) {
    return fail(error_out_of_memory);
  }
  return error;
}

std::string system_log_place() {
  const std::string place = "the event log of the system, under Application";
  return private_system().empty() ? place : place + "; a file " + private_system() + "\\system.log has a copy";
}

// Services run on a window station that nobody sees.
bool is_service_process() noexcept {
  USEROBJECTFLAGS flags{};
  const HWINSTA station = ::GetProcessWindowStation();
  return station != nullptr &&
         ::GetUserObjectInformationA(station, UOI_FLAGS, &flags, sizeof flags, nullptr) != FALSE &&
         (flags.dwFlags & WSF_VISIBLE) == 0;
}

// In a private system, a trial or a test, nobody sits before the screen: a box would wait for ever.
void message_box(const char* title, const char* text) noexcept {
  if (!private_system().empty()) {
    (void)std::fprintf(stderr, "%s: %s\n", title != nullptr ? title : "", text != nullptr ? text : "");
    return;
  }
  (void)::MessageBoxA(nullptr, text != nullptr ? text : "", title != nullptr ? title : "",
                      MB_OK | MB_ICONERROR | MB_SETFOREGROUND);
}

}  // namespace ox::platform
