#include "common/error_position.h"

#include <algorithm>
#include <cstring>

#include <oxbase/oxf.h>

#include "common/context.h"
#include "common/trace.h"

namespace ox {
namespace {

struct ErrorPosition {
  char file[1024];
  std::uint32_t line;
};

}  // namespace

OX_RESULT oxfSetErrorFile(const char* file, std::uint32_t line) {
  return guarded([&]() -> OX_RESULT {
    auto& position = context<ErrorPosition>();
    if (file != nullptr) {
      const std::size_t length = std::min(std::strlen(file), sizeof position.file - 1);
      std::memmove(position.file, file, length);
      position.file[length] = '\0';
    }
    position.line = line;
    return OX_OK;
  });
}

}  // namespace ox

OX_RESULT OX_CALL oxfGetErrorFile(const char** file, uint32_t* line) {
  OX_ENTRY("oxfGetErrorFile", ":%x:%x", ox::trace::word(file), ox::trace::word(line));
  return ox::traced("oxfGetErrorFile", [&]() -> OX_RESULT {
    const auto& position = ox::context<ox::ErrorPosition>();
    if (file != nullptr) *file = position.file[0] != '\0' ? position.file : nullptr;
    if (line != nullptr) *line = position.line;
    return OX_OK;
  });
}
