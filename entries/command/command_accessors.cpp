// The command entry's life and its fields.
#include <utility>

#include "entries/command/command_entry.h"

namespace ox::entries {
namespace {

template <class Member>
OX_RESULT set_member(cmdEntry* record, Member cmdEntry::*member, typename field::Access<Member>::In value,
                     const char* tag) noexcept {
  if (record == nullptr) return OX_EARG;
  if constexpr (std::is_same_v<Member, Text>) return field::assign(record->*member, value, tag);
  return field::assign(record->*member, value);
}

void free_record(cmdEntry* record) noexcept {
  clear_values(record, command_rows);
  (void)oxcMemFree(record);
}

// Takes the fields over; those that were there go.
void replace_values(cmdEntry& record, cmdEntry& made) noexcept {
  clear_values(&record, command_rows);
  made.next = record.next;
  made.prev = record.prev;
  record = std::exchange(made, {});
}

}  // namespace

OX_RESULT copy_command(const cmdEntry& from, command_ptr& copy) noexcept {
  copy.reset(oxcmdEntryAlloc());
  return copy ? copy_values(&from, copy.get(), command_rows) : OX_RESULT{OX_ENOMEM};
}

}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

cmdEntry* OX_CALL oxcmdEntryAlloc(void) {
  OX_CMD_START("oxcmdEntryAlloc", "");
  cmdEntry* const record = make_tracked<cmdEntry>("cmdEntry").release();
  OX_TRACE(trace::log_entries, "<E:oxcmdEntryAlloc[0x%x]>\n", trace::word(record));
  return record;
}

OX_RESULT OX_CALL oxcmdEntryFree(cmdEntry* list) {
  OX_CMD_START("oxcmdEntryFree", "0x%x", trace::word(list));
  return OX_CMD_CALL("oxcmdEntryFree", [&]() -> OX_RESULT {
    while (list != nullptr) free_record(std::exchange(list, list->next));
    return OX_OK;
  });
}

#define FIELD(kind, Stem, member)                                                                                      \
  OX_RESULT OX_CALL oxcmdCmdEntGet##Stem(const cmdEntry* record, field::Access<kind>::Out value) {                     \
    OX_CMD_START("oxcmdCmdEntGet" #Stem, "0x%x", trace::word(record));                                                 \
    return OX_CMD_CALL("oxcmdCmdEntGet" #Stem, [&] { return get_member(record, &cmdEntry::member, value, OX_EARG); }); \
  }                                                                                                                    \
  OX_RESULT OX_CALL oxcmdCmdEntSet##Stem(cmdEntry* record, field::Access<kind>::In value) {                            \
    OX_CMD_START("oxcmdCmdEntSet" #Stem, "0x%x", trace::word(record));                                                 \
    return OX_CMD_CALL("oxcmdCmdEntSet" #Stem, [&] { return set_member(record, &cmdEntry::member, value, #Stem); });   \
  }
#define ATTRIBUTE(kind, Stem, member, path, type) FIELD(kind, Stem, member)
OX_CMDENTRY_FIELDS(FIELD, ATTRIBUTE)
#undef ATTRIBUTE
#undef FIELD

// A parameter has the name of its member.
#define FIELD(kind, Stem, member) \
  if (result == OX_OK) result = set_member(&made, &cmdEntry::member, member, #Stem);
#define ATTRIBUTE(kind, Stem, member, path, type) FIELD(kind, Stem, member)
OX_RESULT OX_CALL oxcmdCmdEntSetAllValues(cmdEntry* record, uint32_t error, const char* entry_name,
                                          const char* cmd_name, const char* argument, uint32_t next_start_time,
                                          uint32_t start_time, uint32_t interval, uint32_t admin_status,
                                          uint32_t oper_status, uint32_t attribute_change, uint32_t id,
                                          uint32_t process, uint32_t mode, const char* owner, const char* schedule,
                                          const char* invalid_cmd_name, const char* invalid_cmd_arg) {
  OX_CMD_START("oxcmdCmdEntSetAllValues", "0x%x", trace::word(record));
  return OX_CMD_CALL("oxcmdCmdEntSetAllValues", [&]() -> OX_RESULT {
    if (record == nullptr) return OX_EARG;
    cmdEntry made{};
    OX_RESULT result = OX_OK;
    OX_CMDENTRY_FIELDS(FIELD, ATTRIBUTE)
    if (result == OX_OK) replace_values(*record, made);
    clear_values(&made, command_rows);
    return result;
  });
}
