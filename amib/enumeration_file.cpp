// Reads enumeration files.
#include <algorithm>
#include <cstring>

#include <oxbase/oxc.h>

#include "amib/enumeration.h"
#include "amib/line_file.h"
#include "amib/path.h"
#include "amib/public_files.h"
#include "common/error_position.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

constexpr std::size_t item_limit = 1024;

class EnumFileReader {
 public:
  explicit EnumFileReader(EnumTable& table) : table_(table) {}

  OX_RESULT take(char* line);

 private:
  OX_RESULT take_item(const char* line);
  OX_RESULT register_block();

  EnumTable& table_;
  std::string header_;  // the last one; it stays for a second block
  std::vector<EnumItem> items_;
  bool open_ = false;
};

// A header counts wherever it stands, also in a block that was not closed.
OX_RESULT EnumFileReader::take(char* line) {
  const std::size_t size = std::strlen(line);
  if (line[size - 1] == ':') {
    header_.assign(line, size - 1);
    return OX_OK;
  }
  if (*line == '{') {
    items_.clear();
    open_ = true;
    return OX_OK;
  }
  if (*line == '}') return register_block();
  return open_ ? take_item(line) : OX_RESULT{OX_OK};
}

OX_RESULT EnumFileReader::take_item(const char* line) {
  line += std::strspn(line, " \t");
  const std::size_t size = std::strlen(line);
  if (size == 0 || size > item_limit) return OX_EKEYLONG;
  EnumItem item{0, line};
  const OX_RESULT result = item_value(line, item.value);
  if (result == OX_OK) items_.push_back(std::move(item));
  return result;
}

OX_RESULT EnumFileReader::register_block() {
  if (!open_) return OX_ESYNTAX;
  open_ = false;
  PathText path;
  const OX_RESULT result = convert_path(header_.c_str(), Form::numbers, path);
  if (result == OX_EAMIBNAME) return OX_OK;  // one set of files serves trees that lack some definitions
  if (result != OX_OK) return result;
  std::stable_sort(items_.begin(), items_.end(),
                   [](const EnumItem& a, const EnumItem& b) { return a.value < b.value; });
  table_.push_back({path.data(), std::move(items_)});
  items_.clear();
  return OX_OK;
}

OX_RESULT read_lines(LineFile& file, EnumTable& table) {
  EnumFileReader reader(table);
  for (char* line = nullptr;;) {
    if (const OX_RESULT result = file.next(line); result != OX_OK || line == nullptr) return result;
    if (const OX_RESULT result = reader.take(line); result != OX_OK) return result;
  }
}

OX_RESULT read_checked_file(const char* path, EnumTable& table) {
  LineFile file;
  OX_RESULT result = oxcCheckFile(path, 1);
  if (result == OX_OK) result = file.open(path);
  if (result == OX_OK) result = read_lines(file, table);
  if (result != OX_OK) (void)oxfSetErrorFile(path, file.line_number());
  return result;
}

}  // namespace

OX_RESULT item_value(const char* text, std::int32_t& value) {
  const std::string_view item(text);
  const std::size_t open = item.rfind('(');
  if (!item.ends_with(')') || open == std::string_view::npos) return OX_EFORMAT;
  return oxcStrToLong(std::string(item.substr(open + 1, item.size() - open - 2)).c_str(), 10, &value);
}

OX_RESULT read_enum_file(const char* path, EnumTable& table) {
  OX_TRACE(trace::general, "<S:read_enumfile2(%s)>\n", path);
  return traced_as(trace::general, "<E:read_enumfile2[%d]>\n", [&] { return read_checked_file(path, table); });
}

OX_RESULT read_enum_files(EnumTable& table) {
  OX_TRACE(trace::general, "<S:read_enumfile()>\n");
  return traced_as(trace::general, "<E:read_enumfile[%d]>\n", [&]() -> OX_RESULT {
    std::vector<std::string> files;
    if (const OX_RESULT result = list_public_files(".enm", files); result != OX_OK) return result;
    for (const std::string& file : files) {
      OX_TRACE(trace::general, "<M:read_enumfile(%s)>\n", file.c_str());
      if (const OX_RESULT result = read_enum_file(file.c_str(), table); result != OX_OK) return result;
    }
    order_enumerations(table);
    return OX_OK;
  });
}

}  // namespace ox::amib
