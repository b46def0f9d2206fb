#include "platform/terminal.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

namespace ox::platform {
namespace {

HANDLE handle_of(Stream stream) noexcept {
  constexpr DWORD names[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return ::GetStdHandle(names[static_cast<int>(stream)]);
}

}  // namespace

bool is_terminal(Stream stream) noexcept {
  DWORD mode = 0;
  return ::GetConsoleMode(handle_of(stream), &mode) != FALSE;
}

int terminal_columns(Stream stream) noexcept {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (::GetConsoleScreenBufferInfo(handle_of(stream), &info) == FALSE) return 0;
  return info.srWindow.Right - info.srWindow.Left + 1;
}

bool output_takes_utf8() noexcept {
  return (is_terminal(Stream::output) ? ::GetConsoleOutputCP() : ::GetACP()) == CP_UTF8;
}

void keep_output_bytes() noexcept { (void)::_setmode(::_fileno(stdout), _O_BINARY); }

}  // namespace ox::platform
