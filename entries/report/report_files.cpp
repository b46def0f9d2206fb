// Definition files of report types.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/error_position.h"
#include "common/paths.h"
#include "entries/report/report.h"

namespace ox::entries {
namespace {

constexpr std::string_view keywords[] = {
#define ONE(member, number, keyword) keyword,
    OX_REPTYPE_FIELDS(ONE, ONE)
#undef ONE
};

// Files whose types are known by the files' short names, whatever they call themselves.
constexpr std::string_view named_files[] = {"host_trf", "hub_trf", "lan_trf", "wan_trf"};

// The thread's definition file, closed at the end, and its latest entry.
class Entries {
 public:
  Entries() : entry_(make_tracked<oxcConfigEntry>("RepTypeEntry")) {
    if (!entry_) out_of_memory();
  }
  ~Entries() {
    clear();
    (void)oxcEndConfigEntry();
  }
  Entries(const Entries&) = delete;
  Entries& operator=(const Entries&) = delete;

  [[nodiscard]] OX_RESULT next() {
    clear();
    return oxcGetConfigEntry(nullptr, nullptr, nullptr, entry_.get());
  }
  [[nodiscard]] std::string_view keyword() const noexcept { return entry_->keyword; }
  // All values, parted by one blank.
  [[nodiscard]] std::string text() const {
    std::string all;
    for (std::uint32_t i = 0; i < entry_->count; ++i) all.append(i != 0 ? 1 : 0, ' ').append(entry_->values[i]);
    return all;
  }

 private:
  void clear() noexcept {
    for (; entry_->count != 0; --entry_->count) (void)oxcMemFree(entry_->values[entry_->count - 1]);
  }
  tracked_ptr<oxcConfigEntry> entry_;
};

OX_RESULT take_entry(const Entries& file, RepType& type) {
  const auto keyword = std::find(std::begin(keywords), std::end(keywords), file.keyword());
  if (keyword == std::end(keywords)) return OX_OK;  // for others who read the file
  const Row& row = report_type_rows[1 + (keyword - keywords)];
  std::string text = file.text();
  if (row.offset == offsetof(RepType, help_topic)) text = std::to_string(std::atoi(text.c_str()));
  const std::uint32_t at = row.kind == Kind::list ? count_values(&type, row) : 0;
  const OX_RESULT result = put_text_at(&type, row, at, text.c_str());
  return result == OX_EARG ? OX_RESULT{OX_ETOKENS} : result;
}

std::string_view name_of(std::string_view path, const RepType& type) noexcept {
  path = file_name(path);
  for (const std::string_view named : named_files) {
    const bool is_it = path.size() == named.size() + 4 && equal_no_case(path.substr(0, named.size()), named);
    if (is_it && equal_no_case(path.substr(named.size()), ".def")) return named;
  }
  return type.rep_type.text != nullptr ? type.rep_type.text : "";
}

OX_RESULT name_type(std::string_view path, RepType& type) {
  const std::string name(name_of(path, type));
  if (name.empty()) return OX_ESYNTAX;
  if (const OX_RESULT result = check_name(name.c_str())) return result;
  return field::assign(type.name, name.c_str());
}

OX_RESULT read_entries(const char* path, RepType& type) {
  Entries file;
  OX_RESULT result = oxcSetConfigEntry(path);
  std::uint32_t line = 0;
  while (result == OX_OK) {
    result = file.next();
    line = oxcGetConflineno();
    if (result == OX_OK) result = take_entry(file, type);
  }
  if (result == OX_ENOTFOUND) {
    line = 0;  // of the whole file
    result = name_type(path, type);
  }
  if (result != OX_OK) (void)oxfSetErrorFile(path, line);
  return result;
}

OX_RESULT read_file(const char* path, RepType** out) {
  if (path == nullptr || out == nullptr) return OX_EMISSING;
  (void)oxfSetErrorFile("", 0);
  report_type_ptr type(make_tracked<RepType>("RepType").release());
  if (!type) return OX_ENOMEM;
  const OX_RESULT result = read_entries(path, *type);
  if (result == OX_OK) *out = type.release();
  return result;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxrepReadRepType(const char* path, RepType** type) {
  OX_REP_START("oxrepReadRepType", "%s,%x", trace::text(path), trace::word(type));
  return OX_REP_CALL("oxrepReadRepType", [&] { return read_file(path, type); });
}
