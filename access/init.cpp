// The session's exported operations.
#include <cerrno>
#include <string>

#include <oxbase/oxa.h>

#include "access/session.h"
#include "common/protocol.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/named_event.h"

namespace ox {
namespace {

constexpr std::uint32_t wait_pause_ms = 1000;

OX_RESULT wait_for_base_services(std::uint32_t tries) {
  const char* prefix = "";
  if (const platform::Error error = global_prefix(prefix)) return error;
  const std::string name = std::string(prefix) + base_event_name;
  for (std::uint32_t left = tries;; --left) {
    platform::NamedEvent event;
    if (event.open(name.c_str()) == platform::error_none) return OX_OK;
    platform::sleep_ms(wait_pause_ms);  // after the last attempt too
    if (left == 0) return OX_ENOTSTARTED;
  }
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxaInit(oxaDisconnect callback) {
  OX_TRACE(trace::messages, "<S:oxaInit()>\n");
  const OX_RESULT result = guarded([&] { return session().open(callback); });
  OX_TRACE(trace::messages, "<E:oxaInit[%ld:%d]>\n", trace::number(result), errno);
  return result;
}

OX_RESULT OX_CALL oxaServiceInit(oxaDisconnect callback) {
  OX_TRACE(trace::messages, "<S:oxaServiceInit:%x>\n", trace::word(callback));
  return traced_as(trace::messages, "<E:oxaServiceInit:[%d]>\n", [&]() -> OX_RESULT {
    session().set_service();
    return oxaInit(callback);
  });
}

OX_RESULT OX_CALL oxaWaitForOxbase(uint32_t tries) {
  OX_TRACE(trace::messages, "<S:oxaWaitForOxbase:%d>\n", static_cast<int>(tries));
  return traced_as(trace::messages, "<E:oxaWaitForOxbase:[%d]>\n", [&] { return wait_for_base_services(tries); });
}

OX_RESULT OX_CALL oxaDispatch(uint32_t timeoutMs) {
  OX_TRACE(trace::messages, "<S:oxaDispatch:%d>\n", static_cast<int>(timeoutMs));
  return traced_as(trace::messages, "<E:oxaDispatch:[%d]>\n", [&] { return session().dispatch(timeoutMs); });
}

intptr_t OX_CALL oxaGetReportFd(void) {
  OX_TRACE(trace::messages, "<S:oxaGetReportFd>\n");
  std::intptr_t descriptor = -1;
  (void)guarded([&]() -> OX_RESULT {
    descriptor = session().report_descriptor();
    return OX_OK;
  });
  OX_TRACE(trace::messages, "<E:oxaGetReportFd:[%d]>\n", static_cast<int>(descriptor));
  return descriptor;
}
