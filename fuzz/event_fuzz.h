// What the targets of the event codecs share.
#pragma once

#include <cstring>
#include <string>

#include <oxbase/oxc.h>
#include <oxbase/oxe.h>

#include "fuzz/target.h"

namespace ox::fuzz {

// What an encoder made, as a string; its block is released.
[[nodiscard]] inline std::string take_block(void* block, uint32_t length) {
  std::string bytes(static_cast<const char*>(block), length);
  (void)oxcMemFree(block);
  return bytes;
}

}  // namespace ox::fuzz
