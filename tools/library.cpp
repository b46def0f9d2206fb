#include "tools/library.h"

#include <algorithm>

namespace tool {

std::string on_one_line(std::string text) {
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  const auto is_control = [](char c) { return (static_cast<unsigned char>(c) < ' ') || c == '\x7F'; };
  std::replace_if(text.begin(), text.end(), is_control, ' ');
  return text;
}

std::string error_text(OX_RESULT code) { return on_one_line(oxcStrError(code)); }

}  // namespace tool
