#include "platform/thread.h"

#include <windows.h>

#include <system_error>
#include <utility>

#include "platform/windows/handle.h"
#include "platform/windows/module.h"

namespace ox::platform {
namespace {

struct Start {
  std::function<void()> body;
  HMODULE hold;  // a reference to this module; none where it is the program itself
};

// One more reference to the module that holds this code, which is given back when the thread's code is left for good.
HMODULE hold_module() noexcept {
  HMODULE module = nullptr;
  static const char inside = 0;
  (void)::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &inside, &module);
  return module;
}

DWORD WINAPI run(void* argument) {
  HMODULE hold = nullptr;
  {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    hold = start->hold;
    start->body();
  }
  if (hold != nullptr) ::FreeLibraryAndExitThread(hold, 0);
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
  auto start = std::make_unique<Start>(Start{std::move(body), hold_module()});
  impl_->thread = Handle(::CreateThread(nullptr, 0, run, start.get(), 0, nullptr));
  if (!impl_->thread) {
    const auto error = static_cast<int>(::GetLastError());
    if (start->hold != nullptr) (void)::FreeLibrary(start->hold);
    throw std::system_error(error, std::system_category());
  }
  (void)start.release();
}

void Thread::join() noexcept {
  (void)::WaitForSingleObject(impl_->thread.get(), INFINITE);
  impl_.reset();
}

}  // namespace ox::platform
