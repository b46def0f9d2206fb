#include "tools/entries.h"

#include <algorithm>
#include <optional>

#include "tools/diagnosis.h"
#include "tools/progress.h"

namespace tool {
namespace {

// An installation keeps its definitions when the programs become newer.
Explained older_definitions(const std::string& component, const std::string& paths) {
  return {component,
          OX_EAMIBNAME,
          {"the manager's definitions have no " + paths + ": they are older than this tool",
           "put the ones that ship (share/oxbase/public/amib) into " + std::string(oxcGetWorkdir()) +
               "/public/amib, then start the manager again"}};
}

NodesPtr get(const char* manager, const std::string& component, const char* paths, const oxaSelection* selection,
             const char* doing = "asking the manager") {
  dnode* list = nullptr;
  std::optional<Progress> progress;
  if (doing != nullptr) progress.emplace(doing);
  const OX_RESULT result = oxaGet(manager, component.c_str(), paths, selection, 0, 0, &list);
  NodesPtr nodes(list);
  if (result == OX_EAMIBNAME) throw older_definitions(component, paths);
  if (result != OX_ENOTFOUND && result != OX_ENODES) require(result, component);
  return nodes;
}

std::string name_of(const dnode* node) {
  const char* name = "";
  (void)oxdGetCompName(node, &name);
  return name;
}

std::string path_of(const dnode* node) {
  const char* path = "";
  (void)oxdGetAmibName(node, &path);
  return path;
}

std::vector<Entry> grouped(dnode* list) {
  std::map<std::string, Entry> found;
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    if (oxdGetValueType(node) == -1) continue;
    Entry& one = found[name_of(node)];
    one.name = name_of(node);
    one.values[path_of(node)] = cell_of(node);
  }
  std::vector<Entry> all;
  for (auto& [name, one] : found) all.push_back(std::move(one));
  return all;
}

Column name_column(const Family& family) { return {"NAME", family.type}; }

}  // namespace

std::string word_of(std::string_view words, const std::string& number) {
  while (!words.empty()) {
    const std::string_view word = words.substr(0, words.find('|'));
    if (word.starts_with(number + ' ')) return std::string(word.substr(number.size() + 1));
    words.remove_prefix(std::min(word.size() + 1, words.size()));
  }
  return number;
}

Cell cell_of(dnode* node) {
  oxdType info{};
  (void)oxdTypeInfo(static_cast<std::uint32_t>(oxdGetValueType(node)), &info);
  const std::string text = oxdGetValueByStr(node);
  std::int32_t number = 0;
  std::uint32_t natural = 0;
  std::uint64_t wide = 0;
  if (info.form == OXD_SIGNED32 && oxdGetValueByLong(node, &number) == OX_OK) return {text, number};
  if (info.form == OXD_UNSIGNED32 && oxdGetValueByUlong(node, &natural) == OX_OK) return {text, natural};
  if (info.form == OXD_UNSIGNED64 && oxdGetValueByUlonglong(node, &wide) == OX_OK) return {text, wide};
  return text;
}

std::uint32_t Entry::number(const char* path) const {
  const auto found = values.find(path);
  return found != values.end() && found->second.value.is_number() ? found->second.value.get<std::uint32_t>() : 0;
}

std::string Entry::text(const char* path) const {
  const auto found = values.find(path);
  return found != values.end() ? found->second.shown : std::string();
}

std::string bare_name(const Family& family, const std::string& name) {
  const std::string prefix = std::string(family.type) + ':';
  return name.starts_with(prefix) ? name.substr(prefix.size()) : name;
}

std::vector<Entry> entries(const char* manager, const Family& family) {
  std::vector<Entry> all = grouped(get(manager, std::string(family.type) + ":*", family.paths, nullptr).get());
  std::stable_sort(all.begin(), all.end(),
                   [&](const Entry& a, const Entry& b) { return a.number(family.id) < b.number(family.id); });
  return all;
}

Entry entry(const char* manager, const Family& family, const std::string& name) {
  const std::string component = std::string(family.type) + ':' + bare_name(family, name);
  try {
    std::vector<Entry> found = grouped(get(manager, component, family.paths, nullptr).get());
    return found.empty() ? Entry{bare_name(family, name), {}} : std::move(found.front());
  } catch (const Failure& failure) {
    if (failure.code() != OX_ENOCOMP) throw;
    throw Explained(component, OX_ENOCOMP, {"the manager has no entry of that name", family.lister});
  }
}

Cell shown_field(const oxcZone* zone, const Field& field, const Entry& entry) {
  const auto found = entry.values.find(field.path);
  if (found == entry.values.end()) return {};
  const Cell& cell = found->second;
  if (!cell.value.is_number()) return cell;
  const auto number = cell.value.get<std::uint32_t>();
  if (field.kind == Kind::time) {
    return number == 0 ? Cell("-", nullptr) : Cell(shown_time(zone, number), iso_time(zone, number));
  }
  if (field.kind == Kind::word) return {word_of(field.words, cell.value.dump()), cell.value};
  return cell;
}

void print_entries(Form form, const oxcZone* zone, const Family& family, const std::vector<Entry>& all) {
  std::vector<const Field*> shown;
  std::vector<Column> columns = {name_column(family)};
  for (const Field& field : family.fields) {
    if (form == Form::table && !field.listed) continue;
    shown.push_back(&field);
    columns.push_back({field.title, field.key, field.kind == Kind::number});
  }
  Rows rows(form, columns);
  for (const Entry& one : all) {
    std::vector<Cell> cells = {one.name};
    for (const Field* field : shown) cells.push_back(shown_field(zone, *field, one));
    rows.add(std::move(cells));
  }
  rows.end();
}

void print_entry(Form form, const oxcZone* zone, const Family& family, const Entry& one,
                 const std::vector<More>& more) {
  std::vector<Column> columns = {name_column(family)};
  std::vector<Cell> cells = {one.name};
  for (const Field& field : family.fields) {
    columns.push_back({field.title, field.key});
    cells.push_back(shown_field(zone, field, one));
  }
  for (const More& each : more) {
    columns.push_back(each.column);
    cells.push_back(each.cell);
  }
  print_record(form, columns, cells);
}

Ledger ledger(const char* manager, const std::string& component, const std::string& path, const oxaSelection& selection,
              const char* doing) {
  const NodesPtr nodes = get(manager, component, path.c_str(), &selection, doing);
  Ledger rows;
  for (dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) {
    const std::string full = path_of(node);
    if (!full.starts_with(path + '.') || oxdGetValueType(node) == -1) continue;
    const std::string rest = full.substr(path.size() + 1);  // "column.row"
    std::uint32_t column = 0;
    std::uint32_t row = 0;
    const std::size_t dot = rest.find('.');
    if (dot == rest.npos || oxcStrToUlong(rest.substr(0, dot).c_str(), 10, &column) != OX_OK ||
        oxcStrToUlong(rest.substr(dot + 1).c_str(), 10, &row) != OX_OK) {
      continue;
    }
    rows[row][column] = cell_of(node);
  }
  return rows;
}

}  // namespace tool
