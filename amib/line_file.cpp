#include "amib/line_file.h"

#include <cstring>

#include <oxbase/oxc.h>

namespace ox::amib {
namespace {

constexpr std::size_t line_limit = 8191;

}  // namespace

OX_RESULT LineFile::open(const char* path) {
  file_.reset(std::fopen(path, "r"));
  number_ = 0;
  return file_ ? OX_RESULT{OX_OK} : OX_RESULT{OX_EOPEN};
}

OX_RESULT LineFile::rewind() {
  if (std::fseek(file_.get(), 0, SEEK_SET) != 0) return oxcGetCRunError();
  whole_ = true;
  number_ = 0;
  return OX_OK;
}

void LineFile::skip_rest() {
  for (int c = 0; !whole_ && (c = std::getc(file_.get())) != EOF;) whole_ = c == '\n';
  whole_ = true;
}

OX_RESULT LineFile::next(char*& line) {
  skip_rest();
  while (std::fgets(line_, sizeof line_, file_.get()) != nullptr) {
    ++number_;
    std::size_t size = std::strlen(line_);
    if (size >= 2 && line_[size - 1] == '\n' && line_[size - 2] == '\r') line_[--size - 1] = '\n';
    if (size >= line_limit) {
      whole_ = line_[size - 1] == '\n';
      return OX_ELINELONG;
    }
    if (size != 0) line_[size - 1] = '\0';
    if (line_[0] == '\0' || line_[0] == '#') continue;
    line = line_;
    return OX_OK;
  }
  line = nullptr;
  return std::ferror(file_.get()) != 0 ? oxcGetCRunError() : OX_RESULT{OX_OK};
}

}  // namespace ox::amib
