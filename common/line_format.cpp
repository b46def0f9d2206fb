#include "common/line_format.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace ox {
namespace {

struct Arguments {
  std::va_list list;  // in a structure it can be handed on, whatever its type is
};

// What is put at the end of a line; false when that has no room.
class Line {
 public:
  Line(char* line, std::size_t size) noexcept : begin_(line), at_(line), end_(line + size - 1) {}

  [[nodiscard]] int length() const noexcept { return static_cast<int>(at_ - begin_); }
  void terminate() noexcept { *at_ = '\0'; }

  bool put(std::string_view text) noexcept {
    if (text.size() > static_cast<std::size_t>(end_ - at_)) return false;
    at_ = std::copy(text.begin(), text.end(), at_);
    return true;
  }
  template <class Number>
  bool put(Number number, int base) noexcept {
    const auto [end, error] = std::to_chars(at_, end_, number, base);
    at_ = end;
    return error == std::errc();
  }

 private:
  char* begin_;
  char* at_;
  char* end_;
};

bool put_text(Line& line, const char* text, std::size_t longest) noexcept {
  return text != nullptr && line.put({text, ::strnlen(text, longest)});
}

template <class Integer, class Long>
bool put_number(Line& line, bool is_long, Arguments& arguments, int base) noexcept {
  return is_long ? line.put(va_arg(arguments.list, Long), base) : line.put(va_arg(arguments.list, Integer), base);
}

// The conversion behind a percent sign, which is passed; false for one that is not of ours.
bool put_conversion(Line& line, const char*& format, Arguments& arguments) noexcept {
  if (std::strncmp(format, ".*s", 3) == 0) {
    format += 3;
    const int longest = va_arg(arguments.list, int);
    return longest >= 0 && put_text(line, va_arg(arguments.list, const char*), static_cast<std::size_t>(longest));
  }
  const bool is_long = *format == 'l';
  format += is_long ? 1 : 0;
  switch (*format++) {
    case 's':
      return !is_long && put_text(line, va_arg(arguments.list, const char*), SIZE_MAX);
    case 'd':
      return put_number<int, long>(line, is_long, arguments, 10);
    case 'u':
      return put_number<unsigned, unsigned long>(line, is_long, arguments, 10);
    case 'x':
      return put_number<unsigned, unsigned long>(line, is_long, arguments, 16);
    default:
      return false;
  }
}

bool put_all(Line& line, const char* format, Arguments& arguments) noexcept {
  while (const char* const percent = std::strchr(format, '%')) {
    if (!line.put({format, percent})) return false;
    format = percent + 1;
    if (!put_conversion(line, format, arguments)) return false;
  }
  return line.put(format);
}

}  // namespace

int format_line(char* line, std::size_t size, const char* format, std::va_list arguments) noexcept {
  Line plain(line, size);
  Arguments tried;
  va_copy(tried.list, arguments);
  const bool done = put_all(plain, format, tried);
  va_end(tried.list);
  if (!done) return std::vsnprintf(line, size, format, arguments);
  plain.terminate();
  return plain.length();
}

}  // namespace ox
