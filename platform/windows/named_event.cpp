#include "platform/named_event.h"

#include <utility>

#include "platform/windows/event.h"
#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/private_system.h"
#include "platform/windows/security.h"

namespace ox::platform {
namespace {

Error result_of(DWORD waited) noexcept {
  if (waited == WAIT_OBJECT_0 || waited == WAIT_ABANDONED) return error_none;
  return waited == WAIT_TIMEOUT ? fail(error_timeout) : fail_last();
}

Error open_event(const char* name, Handle& event) {
  if (name == nullptr || *name == '\0') return fail(error_invalid_name);
  event = Handle(::OpenEventA(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, object_name(name).c_str()));
  return event ? Error{error_none} : fail_last();
}

}  // namespace

struct NamedEvent::Impl {
  Handle handle;
};

NamedEvent::NamedEvent() = default;
NamedEvent::NamedEvent(NamedEvent&&) noexcept = default;
NamedEvent& NamedEvent::operator=(NamedEvent&&) noexcept = default;
NamedEvent::~NamedEvent() = default;

Error make_event(const char* name, Access access, Handle& event) {
  if (name == nullptr) {
    event = Handle(::CreateEventA(nullptr, TRUE, FALSE, nullptr));
    return event ? Error{error_none} : fail_last();
  }
  if (*name == '\0') return fail(error_invalid_name);  // the system would make one without a name
  SecurityAttributes security;
  if (const Error error = security.build(access, Shared::signal)) return error;
  event = Handle(::CreateEventA(security.get(), TRUE, FALSE, object_name(name).c_str()));
  if (event) return error_none;
  const Error error = fail_last();
  // An existing one of another account grants less than creating asks for.
  return error == error_access_denied ? open_event(name, event) : error;
}

Error NamedEvent::create(const char* name, Access access) {
  auto made = std::make_unique<Impl>();
  if (const Error error = make_event(name, access, made->handle)) return error;
  impl_ = std::move(made);
  return error_none;
}

Error NamedEvent::open(const char* name) {
  auto opened = std::make_unique<Impl>();
  if (const Error error = open_event(name, opened->handle)) return error;
  impl_ = std::move(opened);
  return error_none;
}

void NamedEvent::set() noexcept {
  if (impl_ != nullptr) (void)::SetEvent(impl_->handle.get());
}

void NamedEvent::reset() noexcept {
  if (impl_ != nullptr) (void)::ResetEvent(impl_->handle.get());
}

Error NamedEvent::wait(std::uint32_t milliseconds) noexcept {
  if (impl_ == nullptr) return fail(error_invalid_handle);
  return result_of(::WaitForSingleObject(impl_->handle.get(), milliseconds));
}

int NamedEvent::wait_any(NamedEvent& first, NamedEvent& second, std::uint32_t milliseconds) noexcept {
  if (first.impl_ == nullptr || second.impl_ == nullptr) {
    (void)fail(error_invalid_handle);
    return -1;
  }
  const HANDLE handles[] = {first.impl_->handle.get(), second.impl_->handle.get()};
  const DWORD waited = ::WaitForMultipleObjects(2, handles, FALSE, milliseconds);
  if (waited == WAIT_OBJECT_0 || waited == WAIT_OBJECT_0 + 1) return static_cast<int>(waited - WAIT_OBJECT_0);
  (void)result_of(waited);
  return -1;
}

struct NamedMutex::Impl {
  Handle handle;
};

NamedMutex::NamedMutex() = default;
NamedMutex::NamedMutex(NamedMutex&&) noexcept = default;
NamedMutex& NamedMutex::operator=(NamedMutex&& other) noexcept {
  std::swap(impl_, other.impl_);
  return *this;
}
NamedMutex::~NamedMutex() {
  // Every level of the calling thread's ownership: the thread would hold the mutex after the handle is gone.
  while (impl_ != nullptr && ::ReleaseMutex(impl_->handle.get()) != FALSE) {
  }
}

Error NamedMutex::create(const char* name, Access access) {
  if (name == nullptr || *name == '\0') return fail(error_invalid_name);
  SecurityAttributes security;
  if (const Error error = security.build(access, Shared::signal)) return error;
  NamedMutex made;
  made.impl_ = std::make_unique<Impl>();
  made.impl_->handle = Handle(::CreateMutexA(security.get(), FALSE, object_name(name).c_str()));
  if (!made.impl_->handle) {
    const Error error = fail_last();
    return error == error_access_denied ? open(name) : error;
  }
  *this = std::move(made);
  return error_none;
}

Error NamedMutex::open(const char* name) {
  if (name == nullptr || *name == '\0') return fail(error_invalid_name);
  NamedMutex opened;
  opened.impl_ = std::make_unique<Impl>();
  opened.impl_->handle = Handle(::OpenMutexA(SYNCHRONIZE, FALSE, object_name(name).c_str()));
  if (!opened.impl_->handle) return fail_last();
  *this = std::move(opened);
  return error_none;
}

Error NamedMutex::lock(std::uint32_t milliseconds) noexcept {
  if (impl_ == nullptr) return fail(error_invalid_handle);
  return result_of(::WaitForSingleObject(impl_->handle.get(), milliseconds));
}

void NamedMutex::unlock() noexcept {
  if (impl_ != nullptr) (void)::ReleaseMutex(impl_->handle.get());
}

}  // namespace ox::platform
