#include "platform/attach.h"

#include <windows.h>

#include "platform/windows/icmp.h"
#include "platform/windows/module.h"
#include "platform/windows/thread_slot.h"

namespace {

bool attach() noexcept {
  using namespace ox::platform;
  if (!attach_thread_slot()) return false;
  if (on_process_attach()) {
    if (attach_icmp()) {
      on_thread_attach();
      return true;
    }
    on_process_detach();
  }
  release_thread_slots();
  return false;
}

void detach() noexcept {
  using namespace ox::platform;
  set_unloading();
  release_thread_slots();
  detach_icmp();
  on_process_detach();
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, void* process_ends) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      return attach() ? TRUE : FALSE;
    case DLL_THREAD_ATTACH:
      ox::platform::on_thread_attach();
      break;
    case DLL_THREAD_DETACH:
      ox::platform::detach_thread_slot();
      break;
    case DLL_PROCESS_DETACH:
      // At the end of the process other threads are gone, perhaps with a lock held: everything is left to the system.
      if (process_ends == nullptr) detach();
      break;
    default:
      break;
  }
  return TRUE;
}
