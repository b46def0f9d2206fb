#include "tests/road/module.h"

#include <windows.h>

#include <stdexcept>
#include <string>

namespace ox::test {
namespace {

constexpr char name_of_library[] = "oxbase.dll";

}  // namespace

const bool Module::may_go = true;
const int Module::runtime_handles = 6;
const int Module::runtime_slots = 1;

Module::Module() : handle_(::LoadLibraryA(name_of_library)) {
  if (handle_ == nullptr) throw std::runtime_error("LoadLibrary: " + std::to_string(::GetLastError()));
}

void Module::unload() {
  if (::FreeLibrary(static_cast<HMODULE>(handle_)) == FALSE) throw std::runtime_error("FreeLibrary");
}

Function Module::address(const char* name) const {
  return reinterpret_cast<Function>(::GetProcAddress(static_cast<HMODULE>(handle_), name));
}

bool Module::is_loaded() { return ::GetModuleHandleA(name_of_library) != nullptr; }

int next_thread_slot() {
  const DWORD slot = ::TlsAlloc();
  (void)::TlsFree(slot);
  return static_cast<int>(slot);
}

}  // namespace ox::test
