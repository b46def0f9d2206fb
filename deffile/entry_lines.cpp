#include "deffile/entry_lines.h"

#include <cstring>

#include <oxbase/oxc.h>

namespace ox {

namespace {
constexpr std::size_t keyword_limit = sizeof(oxcConfigEntry::keyword);
}

OwnedFile open_definition_file(const char* path) noexcept {
  if (oxcCheckFile(path, 1) == OX_EISDIR) return nullptr;
  return OwnedFile(std::fopen(path, "rb"));
}

// Reads one line and makes its end a single line feed, whatever the system's text files look like.
bool EntryLines::read(std::FILE* file) noexcept {
  if (std::fgets(buffer_, sizeof buffer_, file) == nullptr) return false;
  ++line_;
  const std::size_t length = std::strlen(buffer_);
  if (length >= 2 && buffer_[length - 2] == '\r' && buffer_[length - 1] == '\n') {
    buffer_[length - 2] = '\n';
    buffer_[length - 1] = '\0';
  } else if (length == sizeof buffer_ - 1 && buffer_[length - 1] == '\r') {
    // The buffer ends between the two characters of the line end.
    const int next = std::getc(file);
    if (next == '\n') {
      buffer_[length - 1] = '\n';
    } else if (next != EOF) {
      (void)std::ungetc(next, file);
    }
  }
  return true;
}

OX_RESULT EntryLines::next(std::FILE* file) noexcept {
  do {
    if (!read(file)) {
      return std::ferror(file) != 0 ? oxcGetCRunError() : OX_RESULT{OX_ENOTFOUND};
    }
  } while (buffer_[0] == '\n' || buffer_[0] == '#');

  char* colon = std::strchr(buffer_, ':');
  if (colon == nullptr) return OX_ESYNTAX;
  *colon = '\0';
  if (static_cast<std::size_t>(colon - buffer_) >= keyword_limit) return OX_EKEYLONG;
  value_text_ = colon + 1;
  value_text_[std::strcspn(value_text_, "\n")] = '\0';
  return OX_OK;
}

}  // namespace ox
