// What fails for want of memory between two traps must not end the daemon.
#pragma once

#include <new>

#include "manager/base/log.h"

namespace ox::manager {

template <class Call>
void guarded(const Call& call) {
  try {
    call();
  } catch (const std::bad_alloc&) {
    log(Severity::error, "out of memory while traps are received");
  }
}

}  // namespace ox::manager
