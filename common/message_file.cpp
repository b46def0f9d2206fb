#include "common/message_file.h"

#include <algorithm>

#include "common/ascii.h"

namespace ox {
namespace {

// A line's code as the C runtime's atoi reads it: blanks, a sign, digits up to the first other character. A key of
// words is 0, so that a line of that kind is what a search for code 0 finds.
std::uint32_t read_code(std::string_view key) noexcept {
  const std::size_t start = key.find_first_not_of(" \t\v\f\r");
  if (start == std::string_view::npos) return 0;
  key.remove_prefix(start);
  const bool negative = key.front() == '-';
  if (negative || key.front() == '+') key.remove_prefix(1);
  std::uint64_t value = 0;
  for (const char digit : key) {
    if (!is_digit(digit)) break;
    value = std::min<std::uint64_t>(value * 10 + static_cast<unsigned>(digit - '0'), UINT32_MAX);
  }
  const auto number = static_cast<std::uint32_t>(value);
  return negative ? 0 - number : number;
}

}  // namespace

MessageFile::MessageFile(std::string_view image) {
  image = image.substr(0, UINT32_MAX);
  image_ = image.substr(0, image.find_last_not_of('\0') + 1);
  lines_.reserve(static_cast<std::size_t>(std::count(image_.begin(), image_.end(), '\n')) + 1);
  for (std::size_t start = 0; start < image_.size();) {
    const std::size_t end = std::min(image_.find('\n', start), image_.size());
    const std::string_view line = image_.substr(start, end - start);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos) {
      lines_.push_back({read_code(line.substr(0, colon)), static_cast<std::uint32_t>(start + colon + 1)});
    }
    start = end + 1;
  }
  std::sort(lines_.begin(), lines_.end());
}

bool MessageFile::find(std::uint32_t code, std::string_view& text) const noexcept {
  const auto line = std::lower_bound(lines_.begin(), lines_.end(), Line{code, 0});
  if (line == lines_.end() || line->code != code) return false;
  std::string_view rest = image_.substr(line->text);
  const std::size_t end = rest.find('\n');
  // The character before the LF is the CR and goes with it, unseen; a last line without LF has neither.
  if (end != std::string_view::npos) rest = rest.substr(0, end == 0 ? 0 : end - 1);
  rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
  text = rest.substr(0, rest.find('\0'));
  return true;
}

}  // namespace ox
