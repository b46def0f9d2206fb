// The lines of a keyword definition file: "keyword:" and values behind it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include <oxbase/oxtypes.h>

namespace ox {

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { (void)std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

// Opens a definition file for reading; null also for a directory, which some systems open as if it were a file.
[[nodiscard]] OwnedFile open_definition_file(const char* path) noexcept;

// Cuts entry lines out of a stream. One object is as large as the longest line.
class EntryLines {
 public:
  void restart() noexcept { line_ = 0; }

  // Goes to the next line that is not a comment. OX_ENOTFOUND at the end; OX_ESYNTAX without ":"; OX_EKEYLONG; the
  // runtime's code of a read error.
  [[nodiscard]] OX_RESULT next(std::FILE* file) noexcept;

  // Of the line that next() went to; the value text may be written over.
  [[nodiscard]] const char* keyword() const noexcept { return buffer_; }
  [[nodiscard]] char* value_text() noexcept { return value_text_; }

  // Lines read so far, comments and faulty ones included.
  [[nodiscard]] std::uint32_t line() const noexcept { return line_; }

 private:
  [[nodiscard]] bool read(std::FILE* file) noexcept;

  char buffer_[8192] = {};  // a longer line goes on as if it were the next line
  char* value_text_ = buffer_;
  std::uint32_t line_ = 0;
};

}  // namespace ox
