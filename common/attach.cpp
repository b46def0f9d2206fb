// Load and unload of the library.
#include "platform/attach.h"

#include "common/context.h"
#include "common/error_text.h"
#include "common/memory_state.h"
#include "common/trace_control.h"

namespace ox::platform {

bool on_process_attach() noexcept {
  trace::attach();
  return true;
}

void on_thread_attach() noexcept { (void)memory::thread_counts(); }

void on_process_detach() noexcept {
  detach_error_texts();
  trace::detach();
  memory::detach();
}

}  // namespace ox::platform
