// Lines of text files of either system, in a buffer of fixed size. What is made of a line that is longer is the
// format's.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace ox {

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { (void)std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;

// What some editors put in front of a file's first line.
inline constexpr char utf8_mark[] = "\xEF\xBB\xBF";

template <std::size_t room>
class LineReader {
 public:
  // Before the first line.
  void restart() noexcept {
    number_ = 0;
    whole_ = true;
  }

  // Reads the next line, or what comes of it, up to the buffer's end; what follows is the next one's unless it is
  // skipped. The line end is made a single line feed. False at the end of the file, and when reading fails.
  [[nodiscard]] bool read(std::FILE* file) noexcept {
    if (std::fgets(text_, room, file) == nullptr) return false;
    ++number_;
    if (number_ == 1 && std::strncmp(text_, utf8_mark, sizeof utf8_mark - 1) == 0) {
      std::memmove(text_, text_ + sizeof utf8_mark - 1, room - (sizeof utf8_mark - 1));
    }
    size_ = std::strlen(text_);
    whole_ = size_ != room - 1 || text_[size_ - 1] == '\n';
    if (size_ >= 2 && text_[size_ - 2] == '\r' && text_[size_ - 1] == '\n') {
      text_[--size_] = '\0';
      text_[size_ - 1] = '\n';
    } else if (!whole_ && text_[size_ - 1] == '\r') {
      take_line_feed(file);
    }
    return true;
  }

  // Drops what is left of the line; whether that was more than its end.
  bool skip_rest(std::FILE* file) noexcept {
    bool lost = false;
    for (int c = 0; !whole_ && (c = std::getc(file)) != EOF;) {
      whole_ = c == '\n';
      lost = lost || (c != '\n' && c != '\r');
    }
    whole_ = true;
    return lost;
  }

  // The line, which may be written over, and its size with the line feed, if it has one.
  [[nodiscard]] char* text() noexcept { return text_; }
  [[nodiscard]] const char* text() const noexcept { return text_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  // How many have been read.
  [[nodiscard]] std::uint32_t number() const noexcept { return number_; }

 private:
  // The buffer ends between the two characters of the line end, perhaps.
  void take_line_feed(std::FILE* file) noexcept {
    const int next = std::getc(file);
    whole_ = next == '\n';
    if (whole_) {
      text_[size_ - 1] = '\n';
    } else if (next != EOF) {
      (void)std::ungetc(next, file);
    }
  }

  std::size_t size_ = 0;
  std::uint32_t number_ = 0;
  bool whole_ = true;  // the line has been read to its end
  char text_[room] = {};
};

}  // namespace ox
