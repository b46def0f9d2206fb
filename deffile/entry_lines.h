// The lines of a keyword definition file: "keyword:" and values behind it.
#pragma once

#include <cstdint>

#include <oxbase/oxtypes.h>

#include "common/line_reader.h"

namespace ox {

// Opens a definition file for reading; null also for a directory, which some systems open as if it were a file.
[[nodiscard]] OwnedFile open_definition_file(const char* path) noexcept;

// Cuts entry lines out of a stream. One object is as large as the longest line.
class EntryLines {
 public:
  void restart() noexcept { line_.restart(); }

  // Goes to the next line that is not a comment. OX_ENOTFOUND at the end; OX_ESYNTAX without ":"; OX_EKEYLONG; the
  // runtime's code of a read error.
  [[nodiscard]] OX_RESULT next(std::FILE* file) noexcept;

  // Of the line that next() went to; the value text may be written over.
  [[nodiscard]] const char* keyword() const noexcept { return line_.text(); }
  [[nodiscard]] char* value_text() noexcept { return value_text_; }

  // Lines read so far, comments and faulty ones included.
  [[nodiscard]] std::uint32_t line() const noexcept { return line_.number(); }

 private:
  LineReader<8192> line_;  // a longer line goes on as if it were the next line
  char* value_text_ = line_.text();
};

}  // namespace ox
