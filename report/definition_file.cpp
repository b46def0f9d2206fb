// Report types in their files, line by line.
#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <string_view>

#include <oxbase/oxc.h>

#include "report/definition.h"
#include "tools/library.h"

namespace report {
namespace {

constexpr std::array<std::string_view, 16> keywords = {
    "",        "version",  "reptype",   "compname", "mibname",  "index",     "parameter",   "key",
    "csvdata", "calcdata", "graphdata", "formfile", "helpfile", "helptopic", "description", "prefix"};

// The thread's definition file, closed at the end.
class File {
 public:
  explicit File(const std::string& path) : entry_(std::make_unique<oxcConfigEntry>()) {
    if (oxcSetConfigEntry(path.c_str()) != OX_OK) throw std::runtime_error(path + ": cannot be read");
  }
  ~File() {
    release();
    (void)oxcEndConfigEntry();
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] OX_RESULT next() {
    release();
    return oxcGetConfigEntry(nullptr, nullptr, nullptr, entry_.get());
  }
  [[nodiscard]] std::string keyword() const { return entry_->keyword; }
  [[nodiscard]] std::string text() const {
    std::string all;
    for (std::uint32_t i = 0; i < entry_->count; ++i) all.append(i != 0 ? 1 : 0, ' ').append(entry_->values[i]);
    return all;
  }

 private:
  void release() {
    for (; entry_->count != 0; --entry_->count) (void)oxcMemFree(entry_->values[entry_->count - 1]);
  }
  std::unique_ptr<oxcConfigEntry> entry_;
};

bool is_natural(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::vector<Line> lines_of(const std::string& file, std::vector<FaultLine>& faults) {
  std::vector<Line> lines;
  File entries(file);
  for (;;) {
    const OX_RESULT result = entries.next();
    const std::uint32_t line = oxcGetConflineno();
    if (result == OX_ENOTFOUND) return lines;
    if (result == OX_ENOMEM) throw std::bad_alloc();
    if (result != OX_OK) {
      faults.push_back({line, "error " + std::to_string(result) + ": " + tool::error_text(result)});
      continue;
    }
    const auto* const found = std::find(keywords.begin() + 1, keywords.end(), entries.keyword());
    if (found == keywords.end()) {
      faults.push_back({line, "\"" + entries.keyword() + "\" is no keyword; it is passed over"});
      continue;
    }
    lines.push_back({static_cast<std::uint32_t>(found - keywords.begin()), entries.text(), line});
    if (lines.back().number == OXREP_TYPE_HELPTOPIC && !is_natural(lines.back().text)) {
      faults.push_back({line, "\"" + lines.back().text + "\" is no number"});
    }
  }
}

}  // namespace report
