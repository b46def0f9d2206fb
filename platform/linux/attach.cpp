#include "platform/attach.h"

namespace ox::platform {
namespace {

[[gnu::constructor]] void attach() { (void)on_process_attach(); }
[[gnu::destructor]] void detach() { on_process_detach(); }

}  // namespace
}  // namespace ox::platform
