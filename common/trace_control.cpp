#include "common/trace_control.h"

#include <cstddef>
#include <span>

#include <oxbase/oxc.h>

#include "common/error_codes.h"
#include "common/trace.h"
#include "platform/process_list.h"
#include "platform/shared_block.h"

namespace ox::trace {

std::string control_name(std::uint32_t process_id) { return "oxdebug." + std::to_string(process_id); }

namespace {

static_assert(offsetof(Control, reserved) == sizeof(oxcDebugControl));

OX_RESULT code_of(platform::Error error) {
  return error == platform::error_file_not_found ? OX_RESULT{OX_ENOSHM} : code_of_platform_error(error);
}

// Those of another process.
OX_RESULT read_control(std::uint32_t process_id, oxcDebugControl& words) {
  const std::string name = control_name(process_id);
  return code_of(platform::SharedBlock::read_of(process_id, name.c_str(), sizeof(Control),
                                                std::as_writable_bytes(std::span(&words, 1))));
}

OX_RESULT write_control(std::uint32_t process_id, const oxcDebugControl& words) {
  const std::string name = control_name(process_id);
  return code_of(
      platform::SharedBlock::write_of(process_id, name.c_str(), sizeof(Control), std::as_bytes(std::span(&words, 1))));
}

OX_RESULT list_processes(std::uint32_t* ids, std::uint32_t capacity, std::uint32_t* count) {
  std::uint32_t found = 0;
  for (const std::uint32_t id : platform::process_ids()) {
    oxcDebugControl words;
    if (read_control(id, words) != OX_OK) continue;
    if (found < capacity) ids[found] = id;
    ++found;
  }
  *count = found;
  return OX_OK;
}

}  // namespace
}  // namespace ox::trace

namespace trace = ox::trace;

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
    return trace::read_control(processId, *control);
  });
}

OX_RESULT OX_CALL oxcDebugSetControl(uint32_t processId, const oxcDebugControl* control) {
  OX_ENTRY("oxcDebugSetControl", ":%u:%x", processId, trace::word(control));
  return ox::traced("oxcDebugSetControl", [&]() -> OX_RESULT {
    if (control == nullptr) return OX_EARG;
    return trace::write_control(processId, *control);
  });
}
