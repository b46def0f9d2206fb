#include "platform/console.h"

#include <windows.h>

#include <atomic>
#include <mutex>

#include "platform/windows/fail.h"
#include "platform/windows/handle.h"

namespace ox::platform {
namespace {

std::mutex guard;  // the two below
HANDLE output = nullptr;
bool allocated = false;  // by us, not the program's own console

std::atomic<ConsoleHandler> handler{nullptr};

BOOL WINAPI on_control(DWORD event) {
  const ConsoleHandler run = handler.load();
  const auto kind = event == CTRL_C_EVENT ? ConsoleEvent::interrupt : ConsoleEvent::other;
  return run != nullptr && run(kind) ? TRUE : FALSE;
}

bool is_console(HANDLE handle) noexcept {
  DWORD mode = 0;
  return handle != nullptr && handle != INVALID_HANDLE_VALUE && ::GetConsoleMode(handle, &mode) != FALSE;
}

}  // namespace

// A console program has its console already: AllocConsole refuses, and what it has is used. Its standard output may be
// redirected, while the trace belongs on the screen.
Error console_allocate() noexcept {
  const std::lock_guard lock(guard);
  if (output != nullptr) return error_none;
  const bool made = ::AllocConsole() != FALSE;
  const Error refused = made ? error_none : fail_last();
  if (!made && refused != error_access_denied) return refused;
  HANDLE found = ::GetStdHandle(STD_OUTPUT_HANDLE);
  if (!is_console(found)) {
    found = ::CreateFileA("CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                          OPEN_EXISTING, 0, nullptr);
  }
  if (!is_console(found)) {
    const Error error = made ? fail_last() : fail(refused);
    if (made) (void)::FreeConsole();
    return error;
  }
  output = found;
  allocated = made;
  return error_none;
}

Error console_set_handler(ConsoleHandler to) noexcept {
  if (::SetConsoleCtrlHandler(on_control, TRUE) == FALSE) return fail_last();
  // Once in the system's list is enough.
  if (handler.exchange(to) != nullptr) (void)::SetConsoleCtrlHandler(on_control, FALSE);
  return error_none;
}

Error console_write(std::string_view text) noexcept {
  const std::lock_guard lock(guard);
  if (output == nullptr) return fail(error_invalid_handle);
  while (!text.empty()) {
    DWORD put = 0;
    if (::WriteConsoleA(output, text.data(), static_cast<DWORD>(text.size()), &put, nullptr) == FALSE || put == 0) {
      return fail_last();
    }
    text.remove_prefix(put < text.size() ? put : text.size());
  }
  return error_none;
}

void console_release() noexcept {
  const std::lock_guard lock(guard);
  if (handler.exchange(nullptr) != nullptr) (void)::SetConsoleCtrlHandler(on_control, FALSE);
  if (allocated) (void)::FreeConsole();
  output = nullptr;
  allocated = false;
}

}  // namespace ox::platform
