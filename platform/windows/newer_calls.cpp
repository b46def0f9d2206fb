// Calls that Windows XP lacks, in the place of the system's import symbols: a program that named them in its import
// table would not load there. Where the system has one, it is called; else time goes on by the counter of 32 bits, and
// the others fail. No header of Windows here: it declares them as imported.
#include "platform/windows/newer_calls.h"

#include <atomic>
#include <cstdint>

namespace {

using Module = void*;
using Call = void (*)();

extern "C" {
__declspec(dllimport) Module __stdcall GetModuleHandleA(const char* name);
__declspec(dllimport) Call __stdcall GetProcAddress(Module module, const char* name);
__declspec(dllimport) unsigned long __stdcall GetTickCount();
}

template <class Function>
Function of_kernel(const char* name) noexcept {
  return reinterpret_cast<Function>(GetProcAddress(GetModuleHandleA("kernel32.dll"), name));
}

std::atomic<std::uint64_t> last_ticks;

}  // namespace

namespace ox::platform {

std::uint64_t ticks_after(std::uint64_t last, std::uint32_t counter) noexcept {
  return last + static_cast<std::uint32_t>(counter - static_cast<std::uint32_t>(last));
}

}  // namespace ox::platform

extern "C" {

// Of the C++ runtime's thread library, which waits by it. May be called before anything else is set up.
std::uint64_t __stdcall GetTickCount64() noexcept {
  using Function = std::uint64_t(__stdcall*)();
  static std::atomic<Function> call;
  static std::atomic<bool> looked;
  if (!looked.load(std::memory_order_acquire)) {
    call = of_kernel<Function>("GetTickCount64");
    looked.store(true, std::memory_order_release);
  }
  if (const Function function = call.load(std::memory_order_relaxed)) return function();
  std::uint64_t last = last_ticks;
  std::uint64_t now = 0;
  do now = ox::platform::ticks_after(last, GetTickCount());
  while (!last_ticks.compare_exchange_weak(last, now));
  return now;
}

int __stdcall GetNamedPipeClientProcessId(void* pipe, unsigned long* process) noexcept {
  using Function = int(__stdcall*)(void*, unsigned long*);
  const auto function = of_kernel<Function>("GetNamedPipeClientProcessId");
  return function != nullptr ? function(pipe, process) : 0;
}

int __stdcall K32GetProcessMemoryInfo(void* process, void* counters, unsigned long size) noexcept {
  using Function = int(__stdcall*)(void*, void*, unsigned long);
  const auto function = of_kernel<Function>("K32GetProcessMemoryInfo");
  return function != nullptr ? function(process, counters, size) : 0;
}

// For programs that begin in a job, since Windows 10.
int __stdcall InitializeProcThreadAttributeList(void* list, unsigned long count, unsigned long flags,
                                                unsigned long* size) noexcept {
  using Function = int(__stdcall*)(void*, unsigned long, unsigned long, unsigned long*);
  const auto function = of_kernel<Function>("InitializeProcThreadAttributeList");
  return function != nullptr ? function(list, count, flags, size) : 0;
}

int __stdcall UpdateProcThreadAttribute(void* list, unsigned long flags, unsigned long kind, void* value,
                                        unsigned long size, void* before, unsigned long* size_before) noexcept {
  using Function = int(__stdcall*)(void*, unsigned long, unsigned long, void*, unsigned long, void*, unsigned long*);
  const auto function = of_kernel<Function>("UpdateProcThreadAttribute");
  return function != nullptr ? function(list, flags, kind, value, size, before, size_before) : 0;
}

void __stdcall DeleteProcThreadAttributeList(void* list) noexcept {
  using Function = void(__stdcall*)(void*);
  if (const auto function = of_kernel<Function>("DeleteProcThreadAttributeList")) function(list);
}

// What the linker looks for where a header says "dllimport".
extern decltype(&GetTickCount64) const ticks_import asm("__imp__GetTickCount64@0");
extern decltype(&GetNamedPipeClientProcessId) const client_import asm("__imp__GetNamedPipeClientProcessId@8");
extern decltype(&K32GetProcessMemoryInfo) const memory_import asm("__imp__K32GetProcessMemoryInfo@12");
extern decltype(&InitializeProcThreadAttributeList)
    const list_import asm("__imp__InitializeProcThreadAttributeList@16");
extern decltype(&UpdateProcThreadAttribute) const update_import asm("__imp__UpdateProcThreadAttribute@28");
extern decltype(&DeleteProcThreadAttributeList) const delete_import asm("__imp__DeleteProcThreadAttributeList@4");
decltype(&GetTickCount64) const ticks_import = &GetTickCount64;
decltype(&GetNamedPipeClientProcessId) const client_import = &GetNamedPipeClientProcessId;
decltype(&K32GetProcessMemoryInfo) const memory_import = &K32GetProcessMemoryInfo;
decltype(&InitializeProcThreadAttributeList) const list_import = &InitializeProcThreadAttributeList;
decltype(&UpdateProcThreadAttribute) const update_import = &UpdateProcThreadAttribute;
decltype(&DeleteProcThreadAttributeList) const delete_import = &DeleteProcThreadAttributeList;
}
