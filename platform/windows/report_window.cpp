// A window of the class "OxwatchApplication" that is never shown; what is posted to it are command messages.
#include "platform/report_window.h"

#include <windows.h>

#include <atomic>
#include <utility>

#include "platform/named_event.h"
#include "platform/windows/fail.h"
#include "platform/windows/module.h"

namespace ox::platform {
namespace {

constexpr char class_name[] = "OxwatchApplication";
constexpr std::uint32_t queue_limit = 10'000;  // as the system's own, which not every version has
constexpr LPARAM counted = 1;                  // marks what a poster has posted: others may send such messages, too

LONG_PTR address_of(void* object) noexcept { return reinterpret_cast<LONG_PTR>(object); }

}  // namespace

struct ReportWindow::Poster::Shared {
  HWND window = nullptr;
  std::atomic<bool> alive{true};
  std::atomic<std::uint32_t> waiting{0};
  Handler handler = nullptr;
  DWORD owner = ::GetCurrentThreadId();

  static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM word, LPARAM more) {
    auto* const shared = reinterpret_cast<Shared*>(::GetWindowLongPtrA(window, GWLP_USERDATA));
    if (message == WM_COMMAND && shared != nullptr) {
      const Handler run = shared->handler;
      if (more == counted) --shared->waiting;
      run(LOWORD(word));
    }
    return ::DefWindowProcA(window, message, word, more);
  }

  // Something that was posted can be dispatched: what is being posted just now is counted in `waiting` already.
  [[nodiscard]] bool has_arrived() const {
    MSG message{};
    return ::PeekMessageA(&message, window, WM_COMMAND, WM_COMMAND, PM_NOREMOVE) != FALSE;
  }

  // The next message of the thread; false when there is none, or when it is the window's and `own` are used up.
  bool dispatch_one(std::uint32_t& own) const {
    MSG message{};
    if (::PeekMessageA(&message, nullptr, 0, 0, PM_NOREMOVE) == FALSE) return false;
    const auto is_own = [&] {
      return message.hwnd == window && message.message == WM_COMMAND && message.lParam == counted;
    };
    if (is_own() && own == 0) return false;
    if (::PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE) == FALSE) return false;
    if (message.message == WM_QUIT) {  // for the application's own loop
      ::PostQuitMessage(static_cast<int>(message.wParam));
      return false;
    }
    if (is_own() && own != 0) --own;
    (void)::TranslateMessage(&message);
    (void)::DispatchMessageA(&message);
    return true;
  }

  // What else was posted is posted again, in its order.
  void withdraw(std::uint32_t number) {
    MSG message{};
    for (std::uint32_t left = waiting; left != 0; --left) {
      if (::PeekMessageA(&message, window, WM_COMMAND, WM_COMMAND, PM_REMOVE) == FALSE) return;
      if (message.message == WM_QUIT) return ::PostQuitMessage(static_cast<int>(message.wParam));  // passes any filter
      if (message.lParam == counted && LOWORD(message.wParam) == number) {
        --waiting;
      } else {
        (void)::PostMessageA(window, WM_COMMAND, message.wParam, message.lParam);
      }
    }
  }

  // Everything that is there now, of what was posted at most `own`: a handler that posts again does not hold the caller
  // for ever.
  void dispatch_waiting(std::uint32_t own) const {
    for (std::uint32_t left = queue_limit; left != 0 && dispatch_one(own); --left) {
    }
  }

  // Until something was posted, the time is over or the application is to end. Messages of other windows are served on
  // the way.
  void wait(std::uint32_t milliseconds) const {
    const DWORD start = ::GetTickCount();
    while (alive && !has_arrived()) {
      const DWORD passed = ::GetTickCount() - start;
      if (milliseconds != infinite && passed >= milliseconds) return;
      const DWORD rest = milliseconds == infinite ? INFINITE : milliseconds - passed;
      // Also for what was looked at before and left.
      if (::MsgWaitForMultipleObjectsEx(0, nullptr, rest, QS_ALLINPUT, MWMO_INPUTAVAILABLE) != WAIT_OBJECT_0) return;
      MSG quit{};
      if (::PeekMessageA(&quit, nullptr, WM_QUIT, WM_QUIT, PM_NOREMOVE) != FALSE) return;
      dispatch_waiting(0);
    }
  }
};

ReportWindow::ReportWindow() = default;
ReportWindow::ReportWindow(ReportWindow&&) noexcept = default;
ReportWindow& ReportWindow::operator=(ReportWindow&& other) noexcept {
  std::swap(shared_, other.shared_);
  return *this;
}
ReportWindow::~ReportWindow() {
  if (shared_ == nullptr) return;
  shared_->alive = false;
  (void)::SetWindowLongPtrA(shared_->window, GWLP_USERDATA, 0);
  // Only its own thread can destroy a window; for another one it is asked to go.
  if (::DestroyWindow(shared_->window) == FALSE) (void)::PostMessageA(shared_->window, WM_CLOSE, 0, 0);
  // With the last window: the class would outlive an unload and point into nothing.
  (void)::UnregisterClassA(class_name, own_module());
}

Error ReportWindow::create(Handler handler) {
  if (handler == nullptr) return fail(error_invalid_parameter);
  const HINSTANCE module = own_module();
  WNDCLASSA kind{};
  kind.lpfnWndProc = Poster::Shared::on_message;
  kind.hInstance = module;
  kind.lpszClassName = class_name;
  if (::RegisterClassA(&kind) == 0 && ::GetLastError() != ERROR_CLASS_ALREADY_EXISTS) return fail_last();
  auto shared = std::make_shared<Poster::Shared>();
  shared->handler = handler;
  shared->window =
      ::CreateWindowExA(0, class_name, class_name, WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, module, nullptr);
  if (shared->window == nullptr) return fail_last();
  (void)::SetWindowLongPtrA(shared->window, GWLP_USERDATA, address_of(shared.get()));
  ReportWindow made;
  made.shared_ = std::move(shared);
  *this = std::move(made);
  return error_none;
}

std::uint32_t ReportWindow::handle() const noexcept {
  return shared_ != nullptr ? static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(shared_->window)) : 0;
}

ReportWindow::Poster ReportWindow::poster() const {
  Poster poster;
  poster.shared_ = shared_;
  return poster;
}

std::intptr_t ReportWindow::descriptor() const noexcept { return -1; }

void ReportWindow::withdraw(std::uint32_t message) const {
  if (shared_ != nullptr) shared_->withdraw(message);
}

void ReportWindow::dispatch(std::uint32_t milliseconds) {
  // Its own reference: a handler may destroy the window.
  const std::shared_ptr<Poster::Shared> shared = shared_;
  if (shared == nullptr || shared->owner != ::GetCurrentThreadId()) return;
  if (milliseconds != 0) shared->wait(milliseconds);
  shared->dispatch_waiting(shared->waiting);
}

ReportWindow::Poster::Poster() = default;
ReportWindow::Poster::Poster(const Poster&) = default;
ReportWindow::Poster& ReportWindow::Poster::operator=(const Poster&) = default;
ReportWindow::Poster::~Poster() = default;

Error ReportWindow::Poster::post(std::uint32_t message) const noexcept {
  if (shared_ == nullptr || !shared_->alive) return fail(error_invalid_handle);
  if (shared_->waiting++ >= queue_limit) {
    --shared_->waiting;
    return fail(error_quota);
  }
  if (::PostMessageA(shared_->window, WM_COMMAND, message, counted) != FALSE) return error_none;
  --shared_->waiting;
  const Error error = fail_last();
  if (error == ERROR_NOT_ENOUGH_QUOTA) return fail(error_quota);  // the number of a full queue since NT 5.0
  return error == ERROR_INVALID_WINDOW_HANDLE ? fail(error_invalid_handle) : error;
}

bool ReportWindow::Poster::alive() const noexcept { return shared_ != nullptr && shared_->alive; }

}  // namespace ox::platform
