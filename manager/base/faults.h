// Faults of the installation's files, told as they are found.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <oxbase/oxtypes.h>

namespace ox::manager {

// "file:line: text"; line 0 when it is the whole file's.
using FaultSink = std::function<void(const std::string& file, std::uint32_t line, const std::string& text)>;

// Hands on what the library's readers tell: pass `note` and the object to them.
struct LibraryFaults {
  const FaultSink& sink;
  bool sound = true;

  static void OX_CALL note(void* faults, const char* path, std::uint32_t line, OX_RESULT code, const char* subject);
};

}  // namespace ox::manager
