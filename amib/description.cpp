// Descriptions of nodes, from the installation's "*.dsc" files: a written path, a tab, the text.
#include "amib/description.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "amib/line_file.h"
#include "amib/once.h"
#include "amib/path.h"
#include "amib/public_files.h"
#include "amib/tree.h"
#include "common/error_position.h"
#include "common/lasting.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

struct Description {
  std::string path;  // numeric
  std::string text;
};
using DescriptionTable = std::vector<Description>;  // sorted by path; of several for one node the last counts

Lasting<Once<DescriptionTable>> descriptions;

OX_RESULT take_line(char* line, DescriptionTable& table) {
  char* tab = std::strchr(line, '\t');
  if (tab == nullptr) return OX_ESYNTAX;
  *tab = '\0';
  PathText path;
  const OX_RESULT result = convert_path(line, Form::numbers, path);
  if (result == OX_OK) table.push_back({path.data(), tab + 1});
  return result == OX_EAMIBNAME ? OX_RESULT{OX_OK} : result;  // the files may serve larger trees
}

bool is_line_fault(OX_RESULT result) noexcept {
  return result == OX_ESYNTAX || result == OX_ELINELONG || result == OX_EPATHLONG || result == OX_EDEPTH;
}

// A faulty line is told and costs itself alone.
OX_RESULT read_lines(const char* path, LineFile& file, const FaultSink& faults, DescriptionTable& table) {
  for (char* line = nullptr;;) {
    OX_RESULT result = file.next(line);
    if (result == OX_OK && line == nullptr) return OX_OK;
    const char* const subject = result == OX_OK ? line : "";
    if (result == OX_OK) result = take_line(line, table);
    if (result == OX_OK) continue;
    if (!is_line_fault(result)) return result;
    faults.tell(path, file.line_number(), result, subject);
  }
}

OX_RESULT read_file(const char* path, const FaultSink& faults, DescriptionTable& table) {
  LineFile file;
  OX_RESULT result = oxcCheckFile(path, 1);
  if (result == OX_OK) result = file.open(path);
  if (result == OX_OK) result = read_lines(path, file, faults, table);
  if (result != OX_OK) (void)oxfSetErrorFile(path, file.line_number());
  return result;
}

// A file that cannot be read costs its own texts.
OX_RESULT read_files(const std::vector<std::string>& files, DescriptionTable& table) {
  for (const std::string& file : files) {
    if (read_file(file.c_str(), {}, table) == OX_ENOMEM) return OX_ENOMEM;
  }
  std::stable_sort(table.begin(), table.end(),
                   [](const Description& a, const Description& b) { return a.path < b.path; });
  return OX_OK;
}

OX_RESULT describe(const char* path, const char** description) {
  if (description == nullptr) return OX_EARG;
  if (path == nullptr) return OX_EAMIBNAME;
  if (!is_attached()) return OX_ENOSESSION;
  Ref node = 0;
  if (const OX_RESULT result = find_node(path, node); result != OX_OK) return result;
  PathText number;
  if (const OX_RESULT result = node_path(node, Form::numbers, number); result != OX_OK) return result;
  const DescriptionTable* table = nullptr;
  if (const OX_RESULT result = descriptions->get(".dsc", read_files, table); result != OX_OK) return result;
  const auto after = std::upper_bound(table->begin(), table->end(), std::string_view(number.data()),
                                      [](std::string_view wanted, const Description& a) { return wanted < a.path; });
  if (after == table->begin() || (after - 1)->path != number.data()) return OX_ENOTINTABLE;
  *description = (after - 1)->text.c_str();
  return OX_OK;
}

}  // namespace

OX_RESULT check_description_file(const char* path, const FaultSink& faults) {
  DescriptionTable table;
  return read_file(path, faults, table);
}

}  // namespace ox::amib

// The texts of its trace are not called after the function, and not after each other; readers of traces know them so.
extern "C" OX_RESULT OX_CALL oxbAmibToDesc(const char* path, const char** description) {
  OX_TRACE(ox::trace::general, "<S:oxbAmibToDsc(%s,%x)>\n", ox::trace::text(path), ox::trace::word(description));
  return ox::traced_as(ox::trace::general, "<E:oxfReadAmibDsc[%d]>\n",
                       [&] { return ox::amib::describe(path, description); });
}
