#include "common/trace_control.h"

#include <oxbase/oxc.h>

#include "common/error_codes.h"
#include "common/trace.h"
#include "platform/process_list.h"
#include "platform/shared_block.h"

namespace ox::trace {

std::string control_name(std::uint32_t process_id) { return "oxdebug." + std::to_string(process_id); }

namespace {

// Opens the block of another process.
OX_RESULT open_control(std::uint32_t process_id, platform::SharedBlock::Mode mode, platform::SharedBlock& block) {
  const platform::Error error = block.open(control_name(process_id).c_str(), mode);
  if (error == platform::error_file_not_found) return OX_ENOSHM;
  if (error != platform::error_none) return code_of_platform_error(error);
  return block.size() >= sizeof(Control) ? OX_OK : OX_ENOSHM;
}

OX_RESULT list_processes(std::uint32_t* ids, std::uint32_t capacity, std::uint32_t* count) {
  std::uint32_t found = 0;
  for (const std::uint32_t id : platform::process_ids()) {
    platform::SharedBlock block;
    if (open_control(id, platform::SharedBlock::Mode::read, block) != OX_OK) continue;
    if (found < capacity) ids[found] = id;
    ++found;
  }
  *count = found;
  return OX_OK;
}

}  // namespace
}  // namespace ox::trace

namespace trace = ox::trace;
using ox::platform::SharedBlock;

OX_RESULT OX_CALL oxcDebugProcesses(uint32_t* ids, uint32_t capacity, uint32_t* count) {
  OX_ENTRY("oxcDebugProcesses", ":%x:%u:%x", trace::word(ids), capacity, trace::word(count));
  return ox::traced("oxcDebugProcesses", [&]() -> OX_RESULT {
    if (count == nullptr || (ids == nullptr && capacity != 0)) return OX_EARG;
    return trace::list_processes(ids, capacity, count);
  });
}

OX_RESULT OX_CALL oxcDebugGetControl(uint32_t processId, oxcDebugControl* control) {
  OX_ENTRY("oxcDebugGetControl", ":%u:%x", processId, trace::word(control));
  return ox::traced("oxcDebugGetControl", [&]() -> OX_RESULT {
    if (control == nullptr) return OX_EARG;
    SharedBlock block;
    if (const OX_RESULT result = trace::open_control(processId, SharedBlock::Mode::read, block)) return result;
    const auto* shared = static_cast<const trace::Control*>(block.data());
    *control = {shared->mask.load(std::memory_order_relaxed), shared->console.load(std::memory_order_relaxed),
                shared->file.load(std::memory_order_relaxed)};
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcDebugSetControl(uint32_t processId, const oxcDebugControl* control) {
  OX_ENTRY("oxcDebugSetControl", ":%u:%x", processId, trace::word(control));
  return ox::traced("oxcDebugSetControl", [&]() -> OX_RESULT {
    if (control == nullptr) return OX_EARG;
    SharedBlock block;
    if (const OX_RESULT result = trace::open_control(processId, SharedBlock::Mode::write, block)) return result;
    auto* shared = static_cast<trace::Control*>(block.data());
    shared->mask.store(control->mask, std::memory_order_relaxed);
    shared->console.store(control->console, std::memory_order_relaxed);
    shared->file.store(control->file, std::memory_order_relaxed);
    return OX_OK;
  });
}
