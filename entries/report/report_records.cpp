// Records of report types and of reports: their values, and the requests that read and write them.
#include <algorithm>
#include <string_view>

#include "data/value_texts.h"
#include "entries/component.h"
#include "entries/report/report.h"

namespace ox::entries {
namespace {

const Row* row_of(Table table, std::uint32_t number) noexcept {
  const auto is_it = [number](const Row& row) { return number == 0 ? row.change == 0 : row.change == 1U << number; };
  const auto row = number < 32 ? std::find_if(table.begin(), table.end(), is_it) : table.end();
  return row != table.end() ? &*row : nullptr;
}

std::uint32_t count(const void* record, Table table, std::uint32_t number) noexcept {
  const Row* const row = row_of(table, number);
  return record != nullptr && row != nullptr ? count_values(record, *row) : 0;
}

const char* value(const void* record, Table table, std::uint32_t number, std::uint32_t at) noexcept {
  const Row* const row = row_of(table, number);
  return record != nullptr && row != nullptr ? text_at(record, *row, at) : nullptr;
}

template <class Record>
OX_RESULT release(Record* record, Table table) noexcept {
  if (record != nullptr) clear_values(record, table);
  (void)oxcMemFree(record);
  return OX_OK;
}

template <class Record>
OX_RESULT read(const char* manager, const Component& component, const char* path, Table table, Record** out) {
  if (out == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(component.name)) return result;
  constexpr const char* tag = std::is_same_v<Record, RepType> ? "RepType" : "RepEnt";
  std::unique_ptr<Record, ReportDelete> record(make_tracked<Record>(tag).release());
  OX_RESULT result = record ? field::assign(record->name, component.name) : OX_RESULT{OX_ENOMEM};
  dnode_ptr answer;
  if (result == OX_OK) result = get(manager, component, path, 0, report_seconds, answer);
  if (result == OX_OK) result = read_values(record.get(), table, answer.get(), OX_OK);
  if (result == OX_OK) *out = record.release();
  return result;
}

OX_RESULT create_type(const char* manager, const char* name) {
  if (const OX_RESULT result = check_name(name)) return result;
  const char* made = nullptr;
  return add_component(add_entry, manager, {report_type_type, name}, made);
}

}  // namespace

OX_RESULT write_text(const char* manager, const Component& component, const char* path, const char* text) {
  if (path == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(component.name)) return result;
  Nodes nodes(component);
  const OX_RESULT result = nodes.add(path, text);
  return result != OX_OK ? result : set(manager, nodes, report_seconds);
}

OX_RESULT write_each(const char* manager, const Component& component, const void* record, Table table) {
  if (component.name == nullptr) return OX_ECOMPNAME;
  Nodes all(component);
  OX_RESULT result = append_values(all, record, table, given_values(record, table));
  for (const dnode* node = all.list(); node != nullptr && result == OX_OK; node = oxdNext(node)) {
    Nodes one(component);
    result = one.add_copy(*node);
    if (result == OX_OK) result = set(manager, one, report_seconds);
  }
  return result;
}

OX_RESULT read_one(const char* manager, const Component& component, const char* path, std::string& text) {
  constexpr std::uint32_t options = 31;
  dnode_ptr answer;
  const OX_RESULT result = get(manager, component, path, options, report_seconds, answer);
  text.clear();
  if (result != OX_OK) return result == OX_ENOTFOUND ? OX_RESULT{OX_OK} : result;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* found = nullptr;
    if (!node->has(data::bit::amib_name) || std::string_view(node->amib_name.text) != path) continue;
    const OX_RESULT shown = data::display_text(*node, found);
    if (shown == OX_OK) text = found;
    if (shown == OX_ENOMEM) return shown;
  }
  return OX_OK;
}

}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxrepGetRepType(const char* manager, const char* name, RepType** type) {
  OX_REP_START("oxrepGetRepType", "%s,%s,%x", trace::text(manager), trace::text(name), trace::word(type));
  return OX_REP_CALL("oxrepGetRepType", [&] {
    return read(manager, {report_type_type, name}, "11.30", report_type_rows, type);
  });
}

OX_RESULT OX_CALL oxrepGetRepEnt(const char* manager, const char* name, RepEnt** report) {
  OX_REP_START("oxrepGetRepEnt", "%s,%s,%x", trace::text(manager), trace::text(name), trace::word(report));
  return OX_REP_CALL("oxrepGetRepEnt", [&] {
    return read(manager, {report_type, name}, "11.31", report_rows, report);
  });
}

RepEnt* OX_CALL oxrepAllocRepEnt(void) {
  OX_REP_START("oxrepAllocRepEnt", "");
  RepEnt* const report = make_tracked<RepEnt>("RepEnt").release();
  OX_TRACE(trace::general, "<E:oxrepAllocRepEnt[%x]>\n", trace::word(report));
  return report;
}

#define RECORD(Stem, Record, record, type, table)                                                                     \
  OX_RESULT OX_CALL oxrepFree##Stem(Record* record) {                                                                 \
    OX_REP_START("oxrepFree" #Stem, "%x", trace::word(record));                                                       \
    return OX_REP_CALL("oxrepFree" #Stem, [&] { return release(record, table); });                                    \
  }                                                                                                                   \
  uint32_t OX_CALL oxrep##Stem##Count(const Record* record, uint32_t number) {                                        \
    OX_REP_START("oxrep" #Stem "Count", "%x,%u", trace::word(record), number);                                        \
    return OX_REP_CALL("oxrep" #Stem "Count", [&] { return count(record, table, number); });                          \
  }                                                                                                                   \
  const char* OX_CALL oxrep##Stem##Value(const Record* record, uint32_t number, uint32_t at) {                        \
    OX_REP_START("oxrep" #Stem "Value", "%x,%u,%u", trace::word(record), number, at);                                 \
    const char* const text = value(record, table, number, at);                                                        \
    OX_TRACE(trace::general, "<E:oxrep" #Stem "Value[%s]>\n", trace::text(text));                                     \
    return text;                                                                                                      \
  }                                                                                                                   \
  OX_RESULT OX_CALL oxrepSet##Stem(const char* manager, const Record* record) {                                       \
    OX_REP_START("oxrepSet" #Stem, "%s,%x", trace::text(manager), trace::word(record));                               \
    return OX_REP_CALL("oxrepSet" #Stem, [&] {                                                                        \
      return record != nullptr ? write_each(manager, {type, record->name.text}, record, table)                        \
                               : OX_RESULT{OX_EMISSING};                                                              \
    });                                                                                                               \
  }                                                                                                                   \
  OX_RESULT OX_CALL oxrep##Stem##ConfSet(const char* manager, const char* name, const char* path, const char* text) { \
    OX_REP_START("oxrep" #Stem "ConfSet", "%s,%s,%s,%s", trace::text(manager), trace::text(name), trace::text(path),  \
                 trace::text(text));                                                                                  \
    return OX_REP_CALL("oxrep" #Stem "ConfSet", [&] { return write_text(manager, {type, name}, path, text); });       \
  }
RECORD(RepType, RepType, record, report_type_type, report_type_rows)
RECORD(RepEnt, RepEnt, record, report_type, report_rows)

OX_RESULT OX_CALL oxrepRepEntSetValue(RepEnt* report, uint32_t number, uint32_t at, const char* text) {
  OX_REP_START("oxrepRepEntSetValue", "%x,%u,%u,%s", trace::word(report), number, at, trace::text(text));
  return OX_REP_CALL("oxrepRepEntSetValue", [&] {
    const Row* const row = row_of(report_rows, number);
    return report != nullptr && row != nullptr ? put_text_at(report, *row, at, text) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxrepRepTypeCreate(const char* manager, const char* name) {
  OX_REP_START("oxrepRepTypeCreate", "%s,%s", trace::text(manager), trace::text(name));
  return OX_REP_CALL("oxrepRepTypeCreate", [&] { return create_type(manager, name); });
}
