#include "platform/pipe.h"

#include <windows.h>

#include "platform/windows/fail.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

// How long a connection waits for a free instance before the pipe counts as busy.
constexpr DWORD instance_patience_ms = 1000;

HANDLE handle_of(std::intptr_t native) noexcept { return reinterpret_cast<HANDLE>(native); }

HANDLE open_end(const char* name) noexcept {
  return ::CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                       0, nullptr);
}

}  // namespace

Error Pipe::open(const char* name) {
  if (name == nullptr) return fail(error_invalid_name);
  const std::string path = object_name(name);
  HANDLE opened = open_end(path.c_str());
  // The server makes its next instance a moment after each connection.
  if (opened == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_PIPE_BUSY &&
      ::WaitNamedPipeA(path.c_str(), instance_patience_ms) != FALSE) {
    opened = open_end(path.c_str());
  }
  if (opened == INVALID_HANDLE_VALUE) return fail_last();
  close();
  native_ = reinterpret_cast<std::intptr_t>(opened);
  return error_none;
}

void Pipe::close() noexcept {
  if (native_ != none) (void)::CloseHandle(handle_of(std::exchange(native_, none)));
}

void Pipe::hang_up() noexcept { close(); }

void Pipe::watch() noexcept {}

Error Pipe::read_some(std::span<std::byte> into, std::size_t& got) noexcept {
  if (native_ == none) return fail(error_invalid_handle);
  DWORD count = 0;
  do {  // an empty message of the peer is no data
    const BOOL read = ::ReadFile(handle_of(native_), into.data(), static_cast<DWORD>(into.size()), &count, nullptr);
    if (read == FALSE && ::GetLastError() != ERROR_MORE_DATA) {
      const Error error = fail_last();
      return is_pipe_closed(error) ? fail(error_broken_pipe) : error;
    }
  } while (count == 0 && !into.empty());
  got = count;
  return error_none;
}

Error Pipe::write_all(std::span<const std::byte> from) noexcept {
  if (native_ == none) return fail(error_invalid_handle);
  while (!from.empty()) {
    DWORD count = 0;
    if (::WriteFile(handle_of(native_), from.data(), static_cast<DWORD>(from.size()), &count, nullptr) == FALSE) {
      return fail_last();
    }
    from = from.subspan(count);
  }
  return error_none;
}

}  // namespace ox::platform
