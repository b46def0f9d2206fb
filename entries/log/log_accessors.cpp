// The log entry's life and its fields. A setter that changes nothing sets no bit of the change mask.
#include <cstring>

#include "entries/log/log_entry.h"

namespace ox::entries {
namespace {

OX_RESULT set_text(LogEntry* record, Text LogEntry::*member, std::uint32_t change, const char* text) noexcept {
  if (record == nullptr) return OX_EMISSING;
  const char* const present = (record->*member).text;
  if (text == nullptr || (present != nullptr && std::strcmp(text, present) == 0)) return OX_OK;
  if (const OX_RESULT result = field::assign(record->*member, text)) return result;
  record->changes |= change;
  return OX_OK;
}

void set_number(LogEntry& record, Number LogEntry::*member, std::uint32_t change, Number value) noexcept {
  record.*member = value;
  record.changes |= change;
}

OX_RESULT make_with_defaults(LogEntry** out) {
  log_ptr made(make_tracked<LogEntry>("LogEntry_000").release());
  if (!made) return OX_ENOMEM;
  OX_RESULT result = oxlLogEntrySetTitle(made.get(), "No Title");
  if (result == OX_OK) result = oxlLogEntrySetCompName(made.get(), "");
  if (result == OX_OK) result = oxlLogEntrySetAmibName(made.get(), "");
  if (result == OX_OK) result = oxlLogEntrySetInterval(made.get(), "10m");
  if (result == OX_OK) result = oxlLogEntrySetRotatePeriod(made.get(), "1D");
  if (result == OX_OK) result = oxlLogEntrySetExpirePeriod(made.get(), "1W");
  if (result == OX_OK) *out = made.release();
  return result;
}

}  // namespace

OX_RESULT make_log_entry(const char* name, const char* tag, log_ptr& made) noexcept {
  made.reset(make_tracked<LogEntry>(tag).release());
  return made ? field::assign(made->entry_name, name) : OX_RESULT{OX_ENOMEM};
}

}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlAllocLogEntry(LogEntry** record) {
  OX_LOG_START("oxlAllocLogEntry", "%x", trace::word(record));
  return OX_LOG_CALL("oxlAllocLogEntry", [&]() -> OX_RESULT {
    if (record == nullptr) return OX_EMISSING;
    *record = nullptr;
    return make_with_defaults(record);
  });
}

OX_RESULT OX_CALL oxlFreeLogEntry(LogEntry* record) {
  OX_LOG_START("oxlFreeLogEntry", "%x", trace::word(record));
  return OX_LOG_CALL("oxlFreeLogEntry", [&]() -> OX_RESULT {
    if (record == nullptr) return OX_OK;
    clear_values(record, log_rows);
    return oxcMemFree(record);
  });
}

#define GETTER(kind, Stem, member)                                                                 \
  OX_RESULT OX_CALL oxlLogEntryGet##Stem(const LogEntry* record, field::Access<kind>::Out value) { \
    OX_LOG_START("oxlLogEntryGet" #Stem, "%x,%x", trace::word(record), trace::word(value));        \
    return OX_LOG_CALL("oxlLogEntryGet" #Stem,                                                     \
                       [&] { return get_member(record, &LogEntry::member, value, OX_EMISSING); }); \
  }
#define SETTER_Number(Stem, member, change)  // each has a rule of its own
#define SETTER_Text(Stem, member, change)                                                                          \
  OX_RESULT OX_CALL oxlLogEntrySet##Stem(LogEntry* record, const char* text) {                                     \
    OX_LOG_START("oxlLogEntrySet" #Stem, "%x,%s", trace::word(record), trace::text(text));                         \
    return OX_LOG_CALL("oxlLogEntrySet" #Stem, [&] { return set_text(record, &LogEntry::member, change, text); }); \
  }
#define OWN(kind, member)
#define READ(kind, Stem, member, path) GETTER(kind, Stem, member)
#define WRITTEN(kind, Stem, member, path, type, change) GETTER(kind, Stem, member) SETTER_##kind(Stem, member, change)
OX_LOGENTRY_FIELDS(OWN, READ, WRITTEN)
GETTER(Text, Name, entry_name)
GETTER(Text, EntryName, entry_name)

OX_RESULT OX_CALL oxlLogEntrySetStartTime(LogEntry* record, uint32_t seconds) {
  OX_LOG_START("oxlLogEntrySetStartTime", "%x,%lu", trace::word(record), static_cast<unsigned long>(seconds));
  return OX_LOG_CALL("oxlLogEntrySetStartTime", [&]() -> OX_RESULT {
    if (record == nullptr) return OX_EMISSING;
    if (record->start_time != seconds) set_number(*record, &LogEntry::start_time, 0x008, seconds);
    return OX_OK;
  });
}

// What has a state keeps it.
OX_RESULT OX_CALL oxlLogEntrySetType(LogEntry* record, uint32_t type) {
  OX_LOG_START("oxlLogEntrySetType", "%x,%ld", trace::word(record), trace::number(type));
  return OX_LOG_CALL("oxlLogEntrySetType", [&]() -> OX_RESULT {
    if (record == nullptr) return OX_EMISSING;
    const std::uint32_t status = type == 1 ? log_stopped : log_not_startable;
    if (record->status == 0) set_number(*record, &LogEntry::status, 0x080, status);
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxlLogEntrySetScheduleType(LogEntry* record, uint32_t type) {
  OX_LOG_START("oxlLogEntrySetScheduleType", "%x,%ld", trace::word(record), trace::number(type));
  return OX_LOG_CALL("oxlLogEntrySetScheduleType", [&]() -> OX_RESULT {
    if (record == nullptr) return OX_EMISSING;
    if (type <= 1) set_number(*record, &LogEntry::schedule_type, 0x800, type);
    return OX_OK;
  });
}
