#include "platform/attach.h"

namespace ox::platform {
namespace {

[[gnu::constructor]] void attach() {
  if (on_process_attach()) on_thread_attach();
}

// There is no unload, and at the end of the process other threads may still be in the library: all is left to the
// system.

}  // namespace
}  // namespace ox::platform
