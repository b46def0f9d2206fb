#include "platform/windows/module.h"

#include <atomic>

#include "platform/attach.h"
#include "platform/windows/ansi_text.h"

namespace ox::platform {

HINSTANCE own_module() noexcept {
  HMODULE module = nullptr;
  static const char inside = 0;
  (void)::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                             &inside, &module);
  return module;
}

namespace {
std::atomic<bool> unloading{false};
}

bool is_unloading() noexcept { return unloading; }
void set_unloading() noexcept { unloading = true; }

std::string own_directory() {
  char path[MAX_PATH];
  const DWORD size = ::GetModuleFileNameA(own_module(), path, sizeof path);
  const std::string whole(path, size < sizeof path ? size : 0);
  const std::size_t last = last_backslash(whole.c_str());
  return last != std::string::npos ? whole.substr(0, last + 1) : std::string();
}

}  // namespace ox::platform
