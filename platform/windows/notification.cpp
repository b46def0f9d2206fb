#include "platform/notification.h"

#include "platform/named_event.h"

namespace ox::platform {

struct Notification::Impl {
  NamedEvent announced;
  NamedEvent woken;
};

Notification::Notification() = default;
Notification::Notification(Notification&&) noexcept = default;
Notification& Notification::operator=(Notification&&) noexcept = default;
Notification::~Notification() = default;

Error Notification::create(const char* name) {
  auto made = std::make_unique<Impl>();
  if (const Error error = made->announced.create(name, Access::daemon)) return error;
  if (const Error error = made->woken.create(nullptr, Access::daemon)) return error;
  made->announced.reset();  // a name left by an earlier process of this id may still be signalled
  impl_ = std::move(made);
  return error_none;
}

Error Notification::read_first(Pipe& pipe, std::span<std::byte> into, std::size_t& got) noexcept {
  return pipe.read_some(into, got);
}

Notification::Sign Notification::wait(const Pipe&) noexcept {
  if (NamedEvent::wait_any(impl_->woken, impl_->announced, infinite) == 0) return Sign::woken;
  impl_->announced.reset();
  return Sign::announced;
}

void Notification::wake() noexcept {
  if (impl_ != nullptr) impl_->woken.set();
}

bool Notification::pause(std::uint32_t milliseconds) noexcept { return impl_->woken.wait(milliseconds) != error_none; }

}  // namespace ox::platform
