// The data entries of a log entry: to be opened one after the other, their names, and the name of a number.
#include "common/context.h"
#include "entries/component.h"
#include "entries/data/data_entry.h"
#include "entries/entry_list.h"

struct DataEntryList : ox::entries::EntryList {};

namespace ox::entries {
namespace {

using list_of_data_ptr = list_ptr<DataEntryList>;

// The entries related to the log entry, in the answer's order. 122 none.
OX_RESULT list_related(const char* manager, const char* log_entry, list_of_data_ptr& list) {
  dnode_ptr answer;
  if (const OX_RESULT result = get_related(manager, data_relation, {data_owner_type, log_entry}, answer)) return result;
  if (const OX_RESULT result = make_list(manager, "DataEntryList", list)) return result;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    OX_RESULT result = related_name(*node, data_type, name);
    if (result == OX_OK && name != nullptr) result = list->add(name, 0);
    if (result != OX_OK) return result;
  }
  return OX_OK;
}

OX_RESULT get_id(const char* manager, const char* name, std::uint32_t& id) {
  return get_number(manager, {data_type, name}, data_id_path, data_seconds, id);
}

OX_RESULT open_list(const char* manager, const char* log_entry, DataEntryList** out) {
  if (log_entry == nullptr || out == nullptr) return OX_EMISSING;
  list_of_data_ptr list;
  const OX_RESULT result = list_related(manager, log_entry, list);
  if (result == OX_ENOTFOUND) return *out = nullptr, OX_OK;
  if (result != OX_OK) return result;
  for (ListedEntry* item = list->items; item != nullptr; item = item->next) {
    if (const OX_RESULT failure = get_id(manager, item->name.text, item->id)) return failure;
  }
  if (const OX_RESULT failure = list->sort()) return failure;
  *out = list.release();
  return OX_OK;
}

OX_RESULT next(DataEntryList* list, DataEntry** record) {
  if (record == nullptr) return OX_EMISSING;
  return open_next(list, record,
                   [&](const char* manager, const char* name) { return oxlDataEntryOpen(manager, name, record); });
}

// The nodes of the answer that name data entries; the others go.
OX_RESULT get_names(const char* manager, const char* log_entry, dnode** out) {
  if (log_entry == nullptr || out == nullptr) return OX_EMISSING;
  dnode_ptr answer;
  const OX_RESULT result = get_related(manager, data_relation, {data_owner_type, log_entry}, answer);
  if (result != OX_OK && result != OX_ENOTFOUND) return result;
  dnode* names = answer.release();
  for (dnode* node = names; node != nullptr;) {
    dnode* const following = node->next;
    const char* name = nullptr;
    const OX_RESULT failure = related_name(*node, data_type, name);
    if (failure != OX_OK) return (void)oxdFree(names), failure;
    if (name == nullptr) {
      (void)oxcQueueDel(&names, node);
      (void)oxdFree(node);
    }
    node = following;
  }
  *out = names;
  return OX_OK;
}

// The name that was found last, of the thread.
struct FoundDataName {
  std::string text;
};

OX_RESULT find_name(const char* manager, const char* log_entry, std::uint32_t wanted, const char** out) {
  if (log_entry == nullptr || out == nullptr) return OX_EMISSING;
  list_of_data_ptr list;
  const OX_RESULT result = list_related(manager, log_entry, list);
  if (result != OX_OK) return result == OX_ENOTFOUND ? OX_RESULT{OX_ENOTINTABLE} : result;
  for (const ListedEntry* item = list->items; item != nullptr; item = item->next) {
    std::uint32_t id = 0;
    if (const OX_RESULT failure = get_id(manager, item->name.text, id)) return failure;
    if (id != wanted) continue;
    std::string& found = context<FoundDataName>().text;
    found = item->name.text;
    *out = found.c_str();
    return OX_OK;
  }
  return OX_ENOTINTABLE;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlDataEntryListOpen(const char* manager, const char* logEntry, DataEntryList** list) {
  OX_DATA_START("oxlDataEntryListOpen", "%s,%s,%x", trace::text(manager), trace::text(logEntry), trace::word(list));
  return OX_DATA_CALL("oxlDataEntryListOpen", [&] { return open_list(manager, logEntry, list); });
}

OX_RESULT OX_CALL oxlDataEntryNextOpen(DataEntryList* list, DataEntry** record) {
  OX_DATA_START("oxlDataEntryNextOpen", "%x,%x", trace::word(list), trace::word(record));
  return OX_DATA_CALL("oxlDataEntryNextOpen", [&] { return next(list, record); });
}

OX_RESULT OX_CALL oxlDataEntryListClose(DataEntryList* list) {
  OX_DATA_START("oxlDataEntryListClose", "%x", trace::word(list));
  return OX_DATA_CALL("oxlDataEntryListClose", [&] { return release(list), OX_RESULT{OX_OK}; });
}

OX_RESULT OX_CALL oxlGetDataEntryNameList(const char* manager, const char* logEntry, dnode** list) {
  OX_DATA_START("oxlGetDataEntryNameList", "%s,%s,%x", trace::text(manager), trace::text(logEntry), trace::word(list));
  return OX_DATA_CALL("oxlGetDataEntryNameList", [&] { return get_names(manager, logEntry, list); });
}

OX_RESULT OX_CALL oxlDataEntryIDtoName(const char* manager, const char* logEntry, uint32_t id, const char** name) {
  OX_DATA_START("oxlDataEntryIDtoName", "%s,%s,%ld,%x", trace::text(manager), trace::text(logEntry), trace::number(id),
                trace::word(name));
  return OX_DATA_CALL("oxlDataEntryIDtoName", [&] { return find_name(manager, logEntry, id, name); });
}
