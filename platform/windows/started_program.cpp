#include "platform/started_program.h"

#include <windows.h>

#include <utility>

#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/module.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

std::string in_folder(const std::string& folder, const std::string& name) {
  const std::string path = folder + '\\' + name;
  const DWORD attributes = ::GetFileAttributesA(path.c_str());
  const bool is_file = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
  return is_file ? path : std::string();
}

// Where the system looks for programs.
std::string searched(const std::string& name) {
  char path[MAX_PATH];
  const DWORD size = ::SearchPathA(nullptr, name.c_str(), ".exe", sizeof path, path, nullptr);
  return size != 0 && size < sizeof path ? path : std::string();
}

void normal_priority(const Program& program) {
  const Handle process(::OpenProcess(PROCESS_SET_INFORMATION, FALSE, program.id()));
  (void)::SetPriorityClass(process.get(), NORMAL_PRIORITY_CLASS);
}

}  // namespace

std::string program_in(const std::string& folder, std::string_view name) {
  const std::string wanted(name);
  if (!folder.empty()) return in_folder(folder, wanted);
  std::string own = own_directory();
  if (!own.empty()) own.pop_back();
  own = in_folder(own, wanted);
  return !own.empty() ? own : searched(wanted);
}

Error start_line(Program& program, const std::string& path, const Line& line, const std::string& output) {
  const Error error = program.start({path}, {.output_file = output, .rest_of_line = line.rest, .outlives = true});
  if (error == error_none) normal_priority(program);
  return error;
}

// The wait fails for a program without windows, and says so, or nothing.
Error wait_for_input(const Program& program, std::uint32_t milliseconds) {
  const Handle process(::OpenProcess(PROCESS_QUERY_INFORMATION | SYNCHRONIZE, FALSE, program.id()));
  if (!process) return error_none;  // it has ended
  ::SetLastError(ERROR_SUCCESS);
  const DWORD waited = ::WaitForInputIdle(process.get(), milliseconds);
  if (waited == WAIT_TIMEOUT) return fail(error_timeout);
  const DWORD error = waited == WAIT_FAILED ? ::GetLastError() : ERROR_SUCCESS;
  const bool has_none = error == ERROR_SUCCESS || error == ERROR_NOT_GUI_PROCESS;
  const bool has_ended = ::WaitForSingleObject(process.get(), 0) == WAIT_OBJECT_0;
  return has_none || has_ended ? Error{error_none} : fail(error);
}

void close_window(const char* name, Program& /*program*/) {
  const HWND window = ::FindWindowA(object_name(name).c_str(), nullptr);
  if (window != nullptr) (void)::PostMessageA(window, WM_CLOSE, 0, 0);
}

struct ClosableWindow::Impl {
  ~Impl() {
    if (window != nullptr) (void)::DestroyWindow(window);
    (void)::UnregisterClassA(name.c_str(), own_module());
  }
  static LRESULT CALLBACK on_message(HWND window, UINT message, WPARAM word, LPARAM more) {
    if (message != WM_CLOSE) return ::DefWindowProcA(window, message, word, more);
    (void)::SetWindowLongPtrA(window, GWLP_USERDATA, TRUE);
    return 0;
  }

  std::string name;
  HWND window = nullptr;
};

ClosableWindow::ClosableWindow() = default;
ClosableWindow::~ClosableWindow() = default;

Error ClosableWindow::open(const char* name) {
  impl_.reset();  // the class may be the same
  auto impl = std::make_unique<Impl>();
  WNDCLASSA window_class{};
  window_class.lpfnWndProc = Impl::on_message;
  window_class.hInstance = own_module();
  impl->name = object_name(name);
  window_class.lpszClassName = impl->name.c_str();
  if (::RegisterClassA(&window_class) == 0) return fail_last();
  impl->window = ::CreateWindowExA(0, impl->name.c_str(), name, 0, 0, 0, 0, 0, nullptr, nullptr, own_module(), nullptr);
  if (impl->window == nullptr) return fail_last();
  impl_ = std::move(impl);
  return error_none;
}

bool ClosableWindow::is_asked() {
  if (impl_ == nullptr) return false;
  MSG message{};
  while (::PeekMessageA(&message, impl_->window, WM_CLOSE, WM_CLOSE, PM_REMOVE) != FALSE) {
    if (message.message == WM_QUIT) {  // passes any filter; for the application's own loop
      ::PostQuitMessage(static_cast<int>(message.wParam));
      break;
    }
    (void)::DispatchMessageA(&message);
  }
  return ::GetWindowLongPtrA(impl_->window, GWLP_USERDATA) != 0;
}

}  // namespace ox::platform
