// Arguments in one line, as the C runtime takes it apart again.
#pragma once

#include <string>
#include <vector>

namespace ox::test {

inline std::string command_line(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += line.empty() ? "\"" : " \"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
      if (c == '"') line.append(backslashes + 1, '\\');
      backslashes = c == '\\' ? backslashes + 1 : 0;
      line += c;
    }
    line.append(backslashes, '\\') += '"';
  }
  return line;
}

}  // namespace ox::test
