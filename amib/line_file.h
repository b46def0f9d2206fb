// The line reader of definition, enumeration and description files.
#pragma once

#include <cstdint>

#include <oxbase/oxtypes.h>

#include "common/line_reader.h"

namespace ox::amib {

class LineFile {
 public:
  // 142 when the file cannot be opened.
  OX_RESULT open(const char* path);
  // Goes back to the first line.
  OX_RESULT rewind();

  // Reads the next line into the reader's own buffer, where the caller may change it; null at the end of the file.
  // The last character of every line is dropped without being looked at: it is the line feed, and a last line without
  // one loses a character. A carriage return before the line feed is dropped too. Empty lines and those that begin
  // with "#" are passed over. 87 for a line of 8191 characters or more, after which the next one can be read; the
  // runtime's error when reading fails.
  OX_RESULT next(char*& line);

  [[nodiscard]] std::uint32_t line_number() const noexcept { return lines_.number(); }

 private:
  OwnedFile file_;
  LineReader<8194> lines_;
};

}  // namespace ox::amib
