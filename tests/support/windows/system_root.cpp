#include "tests/support/system_root.h"

#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "platform/windows/private_system.h"
#include "platform/windows/thread_slot.h"

namespace fs = std::filesystem;

namespace ox::test {
namespace {

// The library's DLL is told of a thread's end; a test program that holds its parts itself sees to it here.
void NTAPI on_thread(void* /*module*/, DWORD reason, void* /*reserved*/) {
  if (reason == DLL_THREAD_DETACH) platform::detach_thread_slot();
}

}  // namespace

void set_environment(const char* name, const char* value) { (void)::_putenv_s(name, value); }

void prepare_console() {
  static const bool made = [] {
    (void)::FreeConsole();
    return ::AllocConsole() != FALSE;
  }();
  (void)made;
}

const char* foreign_group() { return "Guests"; }

// Everything of the private system: the level above the roots of its keys.
void remove_settings() {
  const std::string any = platform::registry_path("");
  (void)::RegDeleteTreeA(HKEY_LOCAL_MACHINE, any.substr(0, any.size() - 1).c_str());
}

std::string machine_path(const std::string& path) {
  using Convert = char*(CDECL*)(const wchar_t*);
  const auto convert = reinterpret_cast<Convert>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("kernel32"), "wine_get_unix_file_name")));
  if (convert == nullptr) throw std::runtime_error("not under Wine: the machine has no SNMP tools");
  char* const found = convert(fs::absolute(path).wstring().c_str());
  std::string result = found != nullptr ? found : "";
  (void)::HeapFree(::GetProcessHeap(), 0, found);
  return result;
}

std::string as_shown_in_japan(const char* text) {
  wchar_t wide[256];
  char narrow[512];
  (void)::MultiByteToWideChar(CP_UTF8, 0, text, -1, wide, 256);
  (void)::WideCharToMultiByte(932, 0, wide, -1, narrow, sizeof narrow, nullptr, nullptr);
  return narrow;
}

bool make_full_file(const std::string& /*path*/) { return false; }

void remove_system() {
  remove_settings();
  // A file that is still open keeps its folder: then remove_all of this C++ library tries for ever.
  std::error_code ignored;
  std::vector<fs::path> paths{system_root()};
  for (const auto& entry : fs::recursive_directory_iterator(system_root(), ignored)) paths.push_back(entry.path());
  for (auto path = paths.rbegin(); path != paths.rend(); ++path) fs::remove(*path, ignored);
}

}  // namespace ox::test

extern "C" __attribute__((section(".CRT$XLC"), used)) const PIMAGE_TLS_CALLBACK ox_test_thread_callback =
    ox::test::on_thread;
