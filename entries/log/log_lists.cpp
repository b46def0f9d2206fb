// All log entries: to be opened one after the other, their names, and the name of a number.
#include "common/context.h"
#include "entries/entry_list.h"
#include "entries/log/log_entry.h"

struct LogEntryList : ox::entries::EntryList {};

namespace ox::entries {
namespace {

OX_RESULT get_ids(const char* manager, dnode_ptr& answer) {
  return get(manager, {log_type, "*"}, "11.14.3.0", 0, log_seconds, answer);
}

// Name and number of a node of that answer. False when it has not both.
bool read_id(const dnode& node, const char*& name, std::uint32_t& id) noexcept {
  return oxdGetCompName(&node, &name) == OX_OK && read_number(&node, id);
}

OX_RESULT open_list(const char* manager, LogEntryList** out) {
  if (out == nullptr) return OX_EMISSING;
  dnode_ptr answer;
  const OX_RESULT result = get_ids(manager, answer);
  if (result == OX_ENOTFOUND) return *out = nullptr, OX_OK;
  if (result != OX_OK) return result;
  list_ptr<LogEntryList> list;
  if (const OX_RESULT failure = make_list(manager, "LogEntryList", list)) return failure;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    std::uint32_t id = 0;
    if (!read_id(*node, name, id)) continue;
    if (const OX_RESULT failure = list->add(name, id)) return failure;
  }
  if (const OX_RESULT failure = list->sort()) return failure;
  *out = list.release();
  return OX_OK;
}

OX_RESULT next(LogEntryList* list, std::uint32_t option, LogEntry** record) {
  if (record == nullptr) return OX_EMISSING;
  return open_next(list, record, [&](const char* manager, const char* name) {
    return oxlLogEntryOpen(manager, name, option, record);
  });
}

OX_RESULT get_names(const char* manager, dnode** list) {
  if (list == nullptr) return OX_EMISSING;
  return oxaGet(manager, "logEnt:*", "obj.cmn.cmnName.0", nullptr, 28, 0, list);
}

// The name that was found last, of the thread.
struct FoundName {
  std::string text;
};

OX_RESULT find_name(const char* manager, std::uint32_t wanted, const char** out) {
  if (out == nullptr) return OX_EMISSING;
  dnode_ptr answer;
  const OX_RESULT result = get_ids(manager, answer);
  if (result != OX_OK) return result == OX_ENOTFOUND ? OX_RESULT{OX_ENOTINTABLE} : result;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    std::uint32_t id = 0;
    if (!read_id(*node, name, id) || id != wanted) continue;
    std::string& found = context<FoundName>().text;
    found = name;
    *out = found.c_str();
    return OX_OK;
  }
  return OX_ENOTINTABLE;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlLogEntryListOpen(const char* manager, LogEntryList** list) {
  OX_LOG_START("oxlLogEntryListOpen", "%s,%x", trace::text(manager), trace::word(list));
  return OX_LOG_CALL("oxlLogEntryListOpen", [&] { return open_list(manager, list); });
}

OX_RESULT OX_CALL oxlLogEntryNextOpen(LogEntryList* list, uint32_t lockOption, LogEntry** record) {
  OX_LOG_START("oxlLogEntryNextOpen", "%x,%ld,%x", trace::word(list), trace::number(lockOption), trace::word(record));
  return OX_LOG_CALL("oxlLogEntryNextOpen", [&] { return next(list, lockOption, record); });
}

OX_RESULT OX_CALL oxlLogEntryListClose(LogEntryList* list) {
  OX_LOG_START("oxlLogEntryListClose", "%x", trace::word(list));
  return OX_LOG_CALL("oxlLogEntryListClose", [&] { return release(list), OX_RESULT{OX_OK}; });
}

OX_RESULT OX_CALL oxlGetLogEntryNameList(const char* manager, dnode** list) {
  OX_LOG_START("oxlGetLogEntryNameList", "%s,%x", trace::text(manager), trace::word(list));
  return OX_LOG_CALL("oxlGetLogEntryNameList", [&] { return get_names(manager, list); });
}

OX_RESULT OX_CALL oxlLogEntryIDtoName(const char* manager, uint32_t id, const char** name) {
  OX_LOG_START("oxlLogEntryIDtoName", "%s,%ld,%x", trace::text(manager), trace::number(id), trace::word(name));
  return OX_LOG_CALL("oxlLogEntryIDtoName", [&] { return find_name(manager, id, name); });
}
