// The client end of a pipe, opened for overlapped operations. A read and a write may run at once, and are waited for;
// on the side, a read of no bytes may be outstanding: it ends when bytes come, which it leaves there, or with the pipe.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "platform/windows/handle.h"

namespace ox::platform {

struct PipeEnd {
  Handle pipe;
  Handle has_read;  // manual reset: of the operation that is waited for
  Handle has_written;
  Handle stirred;  // automatic reset: the read of no bytes has ended, well or not
  OVERLAPPED idle{};
  std::atomic<bool> broken{false};  // the read of no bytes could not begin

  // Any thread. The system writes the status into the structure before it signals the event; failures are negative.
  [[nodiscard]] bool closed() const noexcept {
    const auto& status = reinterpret_cast<const volatile LONG&>(idle.Internal);
    return broken || status < 0;
  }
};

[[nodiscard]] inline PipeEnd* end_of(std::intptr_t native) noexcept { return reinterpret_cast<PipeEnd*>(native); }

}  // namespace ox::platform
