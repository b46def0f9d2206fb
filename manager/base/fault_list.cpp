#include "manager/base/fault_list.h"

#include <algorithm>
#include <utility>

#include "manager/base/log.h"

namespace ox::manager {

void FaultList::add(const std::string& file, std::uint32_t line, const std::string& text) {
  auto found = std::find_if(files_.begin(), files_.end(), [&](const File& one) { return one.path == file; });
  std::string whole = file + ':' + std::to_string(line) + ": " + text;
  if (found == files_.end()) found = files_.insert(files_.end(), {file, 0, whole});
  if (line != 0 && ++found->faults > most_of_file) {
    ++count_;
    if (found->faults == most_of_file + 1) log(Severity::error, file + ": more faults, see oxmgrd --check");
    return;
  }
  log(Severity::error, whole);
  add(std::move(whole));
}

void FaultList::add(std::string text) {
  ++count_;
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  if (texts_.size() < most) texts_.push_back(std::move(text));
}

FaultSink FaultList::sink() {
  return [this](const std::string& file, std::uint32_t line, const std::string& text) { add(file, line, text); };
}

}  // namespace ox::manager
