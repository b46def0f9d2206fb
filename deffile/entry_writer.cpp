#include "deffile/entry_writer.h"

#include "deffile/entry_stream.h"
#include "platform/file.h"

namespace ox {

OX_RESULT open_for_writing(const char* path, const char* mode) {
  EntryStream& stream = entry_stream();
  stream.file.reset();
  if (path == nullptr) return OX_EARG;
  stream.file.reset(oxcCFileOpen(path, mode));
  if (!stream.file) return OX_EOPEN;
  stream.lines.restart();
  return OX_OK;
}

OX_RESULT write_entry(const oxcConfigEntry& entry) {
  std::FILE* file = entry_stream().file.get();
  if (file == nullptr) return OX_EARG;
  bool written = std::fprintf(file, "%s\t", entry.keyword) >= 0;
  for (std::uint32_t i = 0; i < entry.count && written; ++i) {
    const char* value = entry.values[i] != nullptr ? entry.values[i] : "";
    written = std::fprintf(file, "%s%c", value, i + 1 < entry.count ? '\t' : '\n') >= 0;
  }
  return written ? OX_OK : OX_EWRITE;
}

OX_RESULT close_after_writing() {
  OwnedFile& file = entry_stream().file;
  if (!file) return OX_EARG;
  const bool flushed = std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
  const bool synced = flushed && platform::sync_file(file.get()) == platform::error_none;
  const bool closed = std::fclose(file.release()) == 0;
  return synced && closed ? OX_OK : OX_EWRITE;
}

}  // namespace ox
