#include "platform/thread.h"

#include <windows.h>

#include <system_error>
#include <utility>

#include "platform/windows/handle.h"
#include "platform/windows/module.h"

namespace ox::platform {
namespace {

// The module that holds this code stays until the process ends. That the thread held it would not do: after the thread
// there are the window, which is another thread's, and what has been posted to it.
void keep_module() noexcept {
  HMODULE module = nullptr;
  static const char inside = 0;
  (void)::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN, &inside, &module);
}

DWORD WINAPI run(void* argument) {
  const std::unique_ptr<std::function<void()>> body(static_cast<std::function<void()>*>(argument));
  (*body)();
  return 0;
}

}  // namespace

struct Thread::Impl {
  Handle thread;
};

Thread::Thread() = default;
Thread::Thread(Thread&&) noexcept = default;
Thread& Thread::operator=(Thread&&) noexcept = default;
Thread::~Thread() = default;

Thread::Thread(std::function<void()> body) : impl_(std::make_unique<Impl>()) {
  keep_module();
  auto start = std::make_unique<std::function<void()>>(std::move(body));
  impl_->thread = Handle(::CreateThread(nullptr, 0, run, start.get(), 0, nullptr));
  if (!impl_->thread) throw std::system_error(static_cast<int>(::GetLastError()), std::system_category());
  (void)start.release();
}

void Thread::join() noexcept {
  (void)::WaitForSingleObject(impl_->thread.get(), INFINITE);
  impl_.reset();
}

}  // namespace ox::platform
