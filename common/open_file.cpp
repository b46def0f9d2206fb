#include <oxbase/oxc.h>

#include "common/open_retry.h"
#include "platform/environment.h"
#include "platform/file.h"

FILE* OX_CALL oxcCFileOpen(const char* path, const char* mode) {
  OX_TRACE(ox::trace::general, "<S:oxcCFileOpen()>\n");
  FILE* file = nullptr;
  if (path != nullptr && mode != nullptr) {
    file = ox::open_with_retry(
        "oxcCFileOpen", [&] { return ox::platform::open_exclusive(path, mode); },
        [](const FILE* opened) { return opened != nullptr; }, ox::platform::sleep_ms);
  }
  OX_TRACE(ox::trace::general, "<E:oxcCFileOpen(%lx)>\n", static_cast<unsigned long>(ox::trace::word(file)));
  return file;
}

intptr_t OX_CALL oxcWFileOpen(const char* path, uint32_t access, uint32_t share, void* security, uint32_t disposition,
                              uint32_t flags, void* templateFile) {
  constexpr std::uint32_t share_write = 2;
  OX_TRACE(ox::trace::general, "<S:oxcWFileOpen()>\n");
  intptr_t file = -1;
  if (path != nullptr) {
    file = ox::open_with_retry(
        "oxcWFileOpen",
        [&] {
          return ox::platform::open_file(path, access, share | share_write, security, disposition, flags, templateFile);
        },
        [](intptr_t opened) { return opened != -1; }, ox::platform::sleep_ms);
  }
  OX_TRACE(ox::trace::general, "<E:oxcWFileOpen(%lx)>\n", static_cast<unsigned long>(static_cast<std::uint32_t>(file)));
  return file;
}
