// Lists: of all entries, to be opened one after the other; of records that are made, deleted or written together.
#include "data/value_texts.h"
#include "entries/command/command_entry.h"
#include "entries/entry_list.h"

struct cmdEntryList : ox::entries::EntryList {};

namespace ox::entries {
namespace {

// An answer's name of the entry: the component's, else the value, which is the name, too. Null when it has neither.
OX_RESULT read_name(const dnode& node, const char*& name) noexcept {
  name = nullptr;
  if (oxdGetCompName(&node, &name) == OX_OK) return OX_OK;
  return data::display_text(node, name) == OX_ENOMEM ? OX_RESULT{OX_ENOMEM} : OX_RESULT{OX_OK};
}

OX_RESULT open_list(const char* manager, cmdEntryList** out) {
  if (out == nullptr) return OX_EMISSING;
  dnode_ptr answer;
  const OX_RESULT result = get(manager, {command_type, "*"}, "11.1.1.0", 0, 0, answer);
  if (result == OX_ENOTFOUND) return *out = nullptr, OX_OK;
  if (result != OX_OK) return result;
  list_ptr<cmdEntryList> list;
  if (const OX_RESULT failure = make_list(manager, "cmdEntryList", list)) return failure;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* name = nullptr;
    OX_RESULT failure = read_name(*node, name);
    if (failure == OX_OK && name != nullptr) failure = list->add(name, 0);
    if (failure != OX_OK) return failure;
  }
  *out = list.release();
  return OX_OK;
}

OX_RESULT next(cmdEntryList* list, cmdEntry** record) {
  if (record == nullptr) return OX_EMISSING;
  return open_next(list, record,
                   [&](const char* manager, const char* name) { return oxcmdEntryOpen(manager, name, record); });
}

// Copies of all records, made before anything is sent.
OX_RESULT copy_list(const cmdEntry* list, command_ptr& copies) noexcept {
  for (const cmdEntry* record = list; record != nullptr; record = record->next) {
    command_ptr copy;
    if (const OX_RESULT result = copy_command(*record, copy)) return result;
    cmdEntry* head = copies.release();
    (void)oxcQueueAdd(&head, copy.release());
    copies.reset(head);
  }
  return OX_OK;
}

// Applies `operate` to each record's copy, where there are copies, else to the record itself. All are tried.
template <class Operate>
OX_RESULT apply(cmdEntry* list, cmdEntry** results, Operate operate) {
  if (list == nullptr) return OX_EARG;
  command_ptr copies;
  if (const OX_RESULT result = copy_list(list, copies)) return result;
  OX_RESULT worst = OX_OK;
  cmdEntry* copy = copies.get();
  for (cmdEntry* record = list; record != nullptr; record = record->next, copy = copy->next) {
    record->error = copy->error = guarded([&] { return operate(*copy); });
    if (copy->error != OX_OK && worst != OX_ENOMEM) worst = copy->error == OX_ENOMEM ? OX_ENOMEM : OX_ENODES;
  }
  if (results != nullptr) *results = copies.release();
  return worst;
}

// The copy is named after the entry, or there is no entry.
OX_RESULT create(const char* manager, cmdEntry& record) {
  constexpr std::uint32_t one_at_a_time = 2;
  const char* name = nullptr;
  const OX_RESULT result =
      oxcmdCreateCmdEntry(manager, record.owner.text, record.cmd_name.text, record.argument.text, record.start_time,
                          record.interval, record.mode != 0 ? record.mode : one_at_a_time, record.admin_status, &name);
  if (result != OX_OK) return result;
  const OX_RESULT named = field::assign(record.entry_name, name, "CmdEntryName");
  if (named != OX_OK) (void)oxcmdDeleteCmdEntry(manager, name);
  return named;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxcmdEntryListOpen(const char* manager, cmdEntryList** list) {
  OX_CMD_START("oxcmdEntryListOpen", "%s,0x%x", trace::text(manager), trace::word(list));
  return OX_CMD_CALL("oxcmdEntryListOpen", [&] { return open_list(manager, list); });
}

OX_RESULT OX_CALL oxcmdEntryNextOpen(cmdEntryList* list, cmdEntry** record) {
  OX_CMD_START("oxcmdEntryNextOpen", "0x%x,0x%x", trace::word(list), trace::word(record));
  return OX_CMD_CALL("oxcmdEntryNextOpen", [&] { return next(list, record); });
}

OX_RESULT OX_CALL oxcmdEntryListClose(cmdEntryList* list) {
  OX_CMD_START("oxcmdEntryListClose", "0x%x", trace::word(list));
  return OX_CMD_CALL("oxcmdEntryListClose", [&] { return release(list), OX_RESULT{OX_OK}; });
}

OX_RESULT OX_CALL oxcmdCreate(const char* manager, cmdEntry* list, cmdEntry** results) {
  OX_CMD_START("oxcmdCreate", "%s,0x%x,0x%x", trace::text(manager), trace::word(list), trace::word(results));
  return OX_CMD_CALL("oxcmdCreate",
                     [&] { return apply(list, results, [&](cmdEntry& record) { return create(manager, record); }); });
}

OX_RESULT OX_CALL oxcmdDelete(const char* manager, cmdEntry* list, cmdEntry** results) {
  OX_CMD_START("oxcmdDelete", "%s,0x%x,0x%x", trace::text(manager), trace::word(list), trace::word(results));
  return OX_CMD_CALL("oxcmdDelete", [&] {
    return apply(list, results, [&](cmdEntry& record) { return oxcmdDeleteCmdEntry(manager, record.entry_name.text); });
  });
}

OX_RESULT OX_CALL oxcmdSet(const char* manager, cmdEntry* list, cmdEntry** results) {
  OX_CMD_START("oxcmdSet", "%s,0x%x,0x%x", trace::text(manager), trace::word(list), trace::word(results));
  return OX_CMD_CALL("oxcmdSet", [&] {
    return apply(list, results, [&](cmdEntry& record) { return write_command(manager, record); });
  });
}
