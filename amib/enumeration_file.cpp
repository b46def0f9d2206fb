// Reads enumeration files.
#include <algorithm>
#include <cstring>

#include <oxbase/oxc.h>

#include "amib/enumeration.h"
#include "amib/line_file.h"
#include "amib/path.h"
#include "common/error_position.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

constexpr std::size_t item_limit = 1024;

// Whether the fault of a line leaves the rest of its file to be read.
bool is_item_fault(OX_RESULT result) noexcept {
  return result == OX_EFORMAT || result == OX_ERANGE || result == OX_EKEYLONG;
}
bool is_line_fault(OX_RESULT result) noexcept {
  return is_item_fault(result) || result == OX_ESYNTAX || result == OX_ELINELONG || result == OX_EPATHLONG ||
         result == OX_EDEPTH;
}

class EnumFileReader {
 public:
  // With a sink every fault is told, and the reading goes on.
  EnumFileReader(const char* path, EnumTable& table, const FaultSink* faults)
      : path_(path), table_(table), faults_(faults) {}

  OX_RESULT read(LineFile& file);

 private:
  OX_RESULT take(char* line);
  OX_RESULT take_item(const char* line);
  OX_RESULT register_block();
  void take_header(const char* line, std::size_t size);
  bool take_spoilt_header(std::string_view line);
  void note_unclosed();
  void tell(std::uint32_t line, OX_RESULT fault, const char* subject) const {
    if (faults_ != nullptr) faults_->tell(path_, line, fault, subject);
  }

  const char* path_;
  EnumTable& table_;
  const FaultSink* faults_;
  std::uint32_t line_ = 0;
  std::string header_;  // the last one; it stays for a second block
  std::vector<EnumItem> items_;
  OX_RESULT item_fault_ = OX_OK;  // the first of the block
  std::uint32_t opened_ = 0;      // the line of the open block's "{"
  bool open_ = false;
};

OX_RESULT EnumFileReader::read(LineFile& file) {
  for (char* line = nullptr;;) {
    OX_RESULT result = file.next(line);
    line_ = file.line_number();
    if (result == OX_OK && line == nullptr) break;
    const char* const subject = result == OX_OK ? line : "";
    if (result == OX_OK) result = take(line);
    if (result == OX_OK) continue;
    tell(line_, result, subject);
    if (is_item_fault(result) && open_) {
      item_fault_ = item_fault_ != OX_OK ? item_fault_ : result;
    } else if (faults_ == nullptr || !is_line_fault(result)) {
      return result;
    }
  }
  note_unclosed();
  return OX_OK;
}

// A header counts wherever it stands, also in a block that was not closed.
OX_RESULT EnumFileReader::take(char* line) {
  const std::size_t size = std::strlen(line);
  if (line[size - 1] == ':') return take_header(line, size - 1), OX_OK;
  if (*line == '{') {
    note_unclosed();
    items_.clear();
    item_fault_ = OX_OK;
    open_ = true;
    opened_ = line_;
    return OX_OK;
  }
  if (*line == '}') return register_block();
  if (open_) return take_item(line);
  if (take_spoilt_header(line)) tell(line_, OX_ESYNTAX, line);
  return OX_OK;
}

void EnumFileReader::take_header(const char* line, std::size_t size) {
  note_unclosed();
  header_.assign(line, size);
}

// A header with blanks behind it is none, but the block that follows is not that of the header before.
bool EnumFileReader::take_spoilt_header(std::string_view line) {
  const std::size_t last = line.find_last_not_of(" \t");
  const bool spoilt = last != line.npos && line[last] == ':';
  if (spoilt) header_.clear();
  return spoilt;
}

// Reading passes over such a block; whoever wrote it wants to know.
void EnumFileReader::note_unclosed() {
  if (open_ && opened_ != 0) tell(opened_, OX_ESYNTAX, header_.c_str());
  opened_ = 0;
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
  if (item_fault_ != OX_OK) items_.clear();
  std::stable_sort(items_.begin(), items_.end(),
                   [](const EnumItem& a, const EnumItem& b) { return a.value < b.value; });
  table_.push_back({path.data(), std::move(items_), item_fault_});
  items_.clear();
  return OX_OK;
}

OX_RESULT read_checked_file(const char* path, EnumTable& table, const FaultSink* faults = nullptr) {
  LineFile file;
  OX_RESULT result = oxcCheckFile(path, 1);
  if (result == OX_OK) result = file.open(path);
  if (result == OX_OK) result = EnumFileReader(path, table, faults).read(file);
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

OX_RESULT check_enum_file(const char* path, const FaultSink& faults) {
  EnumTable table;
  return read_checked_file(path, table, &faults);
}

OX_RESULT read_enum_files(const std::vector<std::string>& files, EnumTable& table) {
  OX_TRACE(trace::general, "<S:read_enumfile()>\n");
  return traced_as(trace::general, "<E:read_enumfile[%d]>\n", [&]() -> OX_RESULT {
    for (const std::string& file : files) {
      OX_TRACE(trace::general, "<M:read_enumfile(%s)>\n", file.c_str());
      if (const OX_RESULT result = read_enum_file(file.c_str(), table); result != OX_OK) return result;
    }
    order_enumerations(table);
    return OX_OK;
  });
}

}  // namespace ox::amib
