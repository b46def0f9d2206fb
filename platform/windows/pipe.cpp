#include "platform/pipe.h"

#include <windows.h>

#include <memory>

#include "platform/windows/fail.h"
#include "platform/windows/pipe_end.h"
#include "platform/windows/private_system.h"
#include "platform/windows/security.h"

namespace ox::platform {
namespace {

// How long a connection waits for a free instance before the pipe counts as busy.
constexpr DWORD instance_patience_ms = 1000;

// The server gets to know who the client is; it cannot act in the client's name.
Handle open_end(const char* name) noexcept {
  return Handle(::CreateFileA(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                              nullptr));
}

// Starts an operation and waits for its end. Every version wants the structure there until then.
template <class Start>
Error wait_for(const PipeEnd& end, const Handle& done, DWORD& count, Start start) noexcept {
  OVERLAPPED operation{};
  operation.hEvent = done.get();
  count = 0;
  if (start(operation) == FALSE && ::GetLastError() != ERROR_IO_PENDING && ::GetLastError() != ERROR_MORE_DATA) {
    return fail_last();
  }
  if (::GetOverlappedResult(end.pipe.get(), &operation, &count, TRUE) != FALSE) return error_none;
  return ::GetLastError() == ERROR_MORE_DATA ? Error{error_none} : fail_last();
}

// Ends the read of no bytes. False when the system still has its structure: a thread that ended has left it.
bool end_watch(const PipeEnd& end) noexcept {
  constexpr int patience = 1000;  // milliseconds
  (void)::CancelIo(end.pipe.get());
  for (int i = 0; i < patience && !HasOverlappedIoCompleted(&end.idle); ++i) ::Sleep(1);
  return HasOverlappedIoCompleted(&end.idle);
}

}  // namespace

Error Pipe::open(const char* name) {
  if (name == nullptr) return fail(error_invalid_name);
  const std::string path = object_name(name);
  auto end = std::make_unique<PipeEnd>();
  end->pipe = open_end(path.c_str());
  // The server makes its next instance a moment after each connection.
  if (!end->pipe && ::GetLastError() == ERROR_PIPE_BUSY &&
      ::WaitNamedPipeA(path.c_str(), instance_patience_ms) != FALSE) {
    end->pipe = open_end(path.c_str());
  }
  if (!end->pipe) return fail_last();
  if (!is_of_installation(end->pipe.get())) return fail(error_access_denied);
  end->has_read = Handle(::CreateEventA(nullptr, TRUE, FALSE, nullptr));
  end->has_written = Handle(::CreateEventA(nullptr, TRUE, FALSE, nullptr));
  end->stirred = Handle(::CreateEventA(nullptr, FALSE, FALSE, nullptr));
  if (!end->has_read || !end->has_written || !end->stirred) return fail_last();
  close();
  native_ = reinterpret_cast<std::intptr_t>(end.release());
  return error_none;
}

void Pipe::close() noexcept {
  if (native_ == none) return;
  hang_up();
  std::unique_ptr<PipeEnd> end(end_of(std::exchange(native_, none)));
  if (!HasOverlappedIoCompleted(&end->idle)) (void)end.release();  // better lost than written to later
}

void Pipe::hang_up() noexcept {
  if (native_ == none) return;
  PipeEnd& end = *end_of(native_);
  (void)end_watch(end);
  end.pipe.close();
}

void Pipe::watch() noexcept {
  if (native_ == none) return;
  PipeEnd& end = *end_of(native_);
  if (!HasOverlappedIoCompleted(&end.idle) || end.closed()) return;
  end.idle = {};
  end.idle.hEvent = end.stirred.get();
  static char nothing;
  if (::ReadFile(end.pipe.get(), &nothing, 0, nullptr, &end.idle) != FALSE) return;
  if (::GetLastError() == ERROR_IO_PENDING) return;
  end.broken = true;
  (void)::SetEvent(end.stirred.get());
}

Error Pipe::read_some(std::span<std::byte> into, std::size_t& got) noexcept {
  if (native_ == none) return fail(error_invalid_handle);
  const PipeEnd& end = *end_of(native_);
  DWORD count = 0;
  do {  // an empty message of the peer is no data
    const Error error = wait_for(end, end.has_read, count, [&](OVERLAPPED& operation) {
      return ::ReadFile(end.pipe.get(), into.data(), static_cast<DWORD>(into.size()), nullptr, &operation);
    });
    if (error != error_none) return is_pipe_closed(error) ? fail(error_broken_pipe) : error;
  } while (count == 0 && !into.empty());
  got = count;
  return error_none;
}

Error Pipe::write_all(std::span<const std::byte> from) noexcept {
  if (native_ == none) return fail(error_invalid_handle);
  const PipeEnd& end = *end_of(native_);
  while (!from.empty()) {
    DWORD count = 0;
    const Error error = wait_for(end, end.has_written, count, [&](OVERLAPPED& operation) {
      return ::WriteFile(end.pipe.get(), from.data(), static_cast<DWORD>(from.size()), nullptr, &operation);
    });
    if (error != error_none) return error;
    from = from.subspan(count);
  }
  return error_none;
}

}  // namespace ox::platform
