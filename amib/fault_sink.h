// Where the faults of definition files are told; nowhere without a function.
#pragma once

#include <cstdint>

#include <oxbase/oxb.h>

namespace ox::amib {

struct FaultSink {
  oxbFault call = nullptr;
  void* argument = nullptr;

  void tell(const char* path, std::uint32_t line, OX_RESULT code, const char* subject = "") const {
    if (call != nullptr) call(argument, path, line, code, subject);
  }
};

}  // namespace ox::amib
