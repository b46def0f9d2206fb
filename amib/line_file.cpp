#include "amib/line_file.h"

#include <oxbase/oxc.h>

namespace ox::amib {
namespace {

constexpr std::size_t line_limit = 8191;

}  // namespace

OX_RESULT LineFile::open(const char* path) {
  file_.reset(std::fopen(path, "r"));
  lines_.restart();
  return file_ ? OX_RESULT{OX_OK} : OX_RESULT{OX_EOPEN};
}

OX_RESULT LineFile::rewind() {
  if (std::fseek(file_.get(), 0, SEEK_SET) != 0) return oxcGetCRunError();
  lines_.restart();
  return OX_OK;
}

OX_RESULT LineFile::next(char*& line) {
  (void)lines_.skip_rest(file_.get());
  while (lines_.read(file_.get())) {
    const std::size_t size = lines_.size();
    if (size >= line_limit) return OX_ELINELONG;
    line = lines_.text();
    if (size != 0) line[size - 1] = '\0';
    if (line[0] != '\0' && line[0] != '#') return OX_OK;
  }
  line = nullptr;
  return std::ferror(file_.get()) != 0 ? oxcGetCRunError() : OX_RESULT{OX_OK};
}

}  // namespace ox::amib
