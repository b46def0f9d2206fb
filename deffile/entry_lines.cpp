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

OX_RESULT EntryLines::next(std::FILE* file) noexcept {
  do {
    if (!line_.read(file)) {
      return std::ferror(file) != 0 ? oxcGetCRunError() : OX_RESULT{OX_ENOTFOUND};
    }
  } while (line_.text()[0] == '\n' || line_.text()[0] == '#');

  char* colon = std::strchr(line_.text(), ':');
  if (colon == nullptr) return OX_ESYNTAX;
  *colon = '\0';
  if (static_cast<std::size_t>(colon - line_.text()) >= keyword_limit) return OX_EKEYLONG;
  value_text_ = colon + 1;
  value_text_[std::strcspn(value_text_, "\n")] = '\0';
  return OX_OK;
}

}  // namespace ox
