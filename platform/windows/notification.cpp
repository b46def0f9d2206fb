#include "platform/notification.h"

#include <windows.h>

#include <array>

#include "platform/windows/event.h"
#include "platform/windows/fail.h"
#include "platform/windows/pipe_end.h"

namespace ox::platform {

struct Notification::Impl {
  Handle announced;
  Handle woken;
};

Notification::Notification() = default;
Notification::Notification(Notification&&) noexcept = default;
Notification& Notification::operator=(Notification&&) noexcept = default;
Notification::~Notification() = default;

Error Notification::create(const char* name) {
  auto made = std::make_unique<Impl>();
  if (const Error error = make_event(name, Access::daemon, made->announced)) return error;
  if (const Error error = make_event(nullptr, Access::daemon, made->woken)) return error;
  (void)::ResetEvent(made->announced.get());  // a name left by an earlier process of this id may still be signalled
  impl_ = std::move(made);
  return error_none;
}

Error Notification::read_first(Pipe& pipe, std::span<std::byte> into, std::size_t& got) noexcept {
  return pipe.read_some(into, got);
}

// The pipe itself belongs to the session's thread. Its read of no bytes ends for every answer, too: that is no sign.
Notification::Sign Notification::wait(const Pipe& pipe) noexcept {
  const PipeEnd& end = *end_of(pipe.native());
  const std::array<HANDLE, 3> signs{impl_->woken.get(), end.stirred.get(), impl_->announced.get()};
  for (;;) {
    const DWORD sign = ::WaitForMultipleObjects(signs.size(), signs.data(), FALSE, INFINITE);
    if (sign == WAIT_OBJECT_0) return Sign::woken;
    if (end.closed()) return Sign::closed;
    if (sign == WAIT_OBJECT_0 + 1) continue;
    (void)::ResetEvent(impl_->announced.get());
    return Sign::announced;
  }
}

void Notification::wake() noexcept {
  if (impl_ != nullptr) (void)::SetEvent(impl_->woken.get());
}

bool Notification::pause(std::uint32_t milliseconds) noexcept {
  return ::WaitForSingleObject(impl_->woken.get(), milliseconds) != WAIT_OBJECT_0;
}

}  // namespace ox::platform
