#include "platform/terminal.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <windows.h>

#include <algorithm>

namespace ox::platform {
namespace {

HANDLE handle_of(Stream stream) noexcept {
  constexpr DWORD names[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return ::GetStdHandle(names[static_cast<int>(stream)]);
}

std::string utf8_of(const wchar_t* text) {
  const int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string made(static_cast<std::size_t>(std::max(bytes, 1)), '\0');
  (void)::WideCharToMultiByte(CP_UTF8, 0, text, -1, made.data(), bytes, nullptr, nullptr);
  made.pop_back();  // its terminator
  return made;
}

// The C runtime's own, which the compiler's headers do not declare.
using GetArguments = void(CDECL*)(int* count, wchar_t*** words, wchar_t*** variables, int wildcards, int* new_mode);
GetArguments runtimes_arguments() noexcept {
  const FARPROC found = ::GetProcAddress(::GetModuleHandleA("msvcrt"), "__wgetmainargs");
  return reinterpret_cast<GetArguments>(reinterpret_cast<void*>(found));
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

std::uint32_t terminal_code_page(Stream stream) noexcept {
  return is_terminal(stream) ? ::GetConsoleOutputCP() : ::GetACP();
}

// As they were typed: the ANSI code page may lack some of their characters.
Arguments program_arguments(int argc, char** argv) {
  int count = 0;
  wchar_t** words = nullptr;
  wchar_t** variables = nullptr;
  int new_mode = 0;
  const auto get = runtimes_arguments();
  if (get == nullptr) return {{argv + (argc != 0), argv + argc}, ::GetACP()};
  get(&count, &words, &variables, 0, &new_mode);
  Arguments arguments{{}, CP_UTF8};
  for (int i = 1; i < count; ++i) arguments.texts.push_back(utf8_of(words[i]));
  return arguments;
}

bool output_takes_utf8() noexcept { return terminal_code_page(Stream::output) == CP_UTF8; }

void keep_output_bytes() noexcept { (void)::_setmode(::_fileno(stdout), _O_BINARY); }

}  // namespace ox::platform
