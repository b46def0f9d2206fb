// Log entries read and written under the component's lock.
#include <utility>

#include "data/value_texts.h"
#include "entries/log/log_entry.h"

namespace ox::entries {
namespace {

// The component's name as the answer has it.
OX_RESULT read_name(const dnode* answer, Text& name) noexcept {
  const char* text = nullptr;
  return oxdGetCompName(answer, &text) == OX_OK ? field::assign(name, text) : OX_RESULT{OX_OK};
}

OX_RESULT read_entry(const char* manager, const Component& component, LogEntry& record) {
  dnode_ptr answer;
  OX_RESULT result = get(manager, component, "11.14", 0, log_seconds, answer);
  if (result == OX_OK) result = read_name(answer.get(), record.entry_name);
  if (result == OX_OK) result = field::assign(record.manager, manager);
  return result != OX_OK ? result : read_values(&record, log_rows, answer.get(), OX_OK);
}

// An entry that has no attributes gives no record, which is no failure.
OX_RESULT open(const char* manager, const char* name, std::uint32_t option, LogEntry** out) {
  if (name == nullptr || out == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(name)) return result;
  log_ptr record;
  if (const OX_RESULT result = make_log_entry(name, "LogEntry_001", record)) return result;
  const Component component{log_type, name};
  if (const OX_RESULT result = oxaCompLock(manager, component.text().c_str(), option, &record->lock)) return result;
  const OX_RESULT result = guarded([&] { return read_entry(manager, component, *record); });
  if (result == OX_OK) return *out = record.release(), OX_OK;
  (void)oxaCompUnlock2(record->lock, manager);
  return result == OX_ENOTFOUND ? OX_RESULT{OX_OK} : result;
}

OX_RESULT write_changes(const LogEntry& record) {
  if (record.changes == 0) return OX_OK;
  Nodes nodes({log_type, record.entry_name.text});
  OX_RESULT result = append_values(nodes, &record, log_rows, record.changes);
  if (result == OX_OK && (record.changes & log_reload_changes) != 0) {
    result = nodes.add(log_reload_path, OX_INTEGER, 1);
  }
  return result != OX_OK ? result : set(record.manager.text, nodes, log_seconds);
}

// A record that could not be written stays the caller's, with its lock, to be closed again.
OX_RESULT close(LogEntry* record) {
  if (record == nullptr) return OX_EMISSING;
  const OX_RESULT result = guarded([&] { return write_changes(*record); });
  if (result != OX_OK) return result;
  if (record->lock != 0) (void)oxaCompUnlock(record->lock);
  return oxlFreeLogEntry(record);
}

// The same, but the lock goes in any case.
OX_RESULT close_and_unlock(const char* manager, LogEntry* record) {
  if (record == nullptr) return OX_EMISSING;
  const OX_RESULT result = guarded([&] { return write_changes(*record); });
  if (record->lock != 0) (void)oxaCompUnlock2(std::exchange(record->lock, 0), manager);
  return result != OX_OK ? result : oxlFreeLogEntry(record);
}

OX_RESULT snapshot(const char* manager, const char* name, LogEntry** out) {
  constexpr std::uint32_t shared = 1;
  if (out == nullptr) return OX_EMISSING;
  LogEntry* record = nullptr;
  const OX_RESULT result = oxlLogEntryOpen(manager, name, shared, &record);
  if (record == nullptr) return result;
  (void)oxaCompUnlock2(std::exchange(record->lock, 0), manager);
  *out = record;
  return result;
}

// The installation's schedule for new entries, where there is one.
OX_RESULT take_default_schedule(const char* manager, LogEntry& record) {
  dnode_ptr answer;
  OX_RESULT result = get(manager, {"schEnt", "LogDefault"}, "obj.schEnt.schEntSchedule.0", 28, 0, answer);
  const char* schedule = nullptr;
  if (result == OX_OK) result = data::display_text(*answer, schedule);
  if (result != OX_OK) return result == OX_ENOMEM ? result : OX_RESULT{OX_OK};
  result = oxlLogEntrySetSchedule(&record, schedule);
  return result != OX_OK ? result : oxlLogEntrySetScheduleType(&record, 0);
}

OX_RESULT name_new(const char* manager, LogEntry& record) {
  LogEntry* made = nullptr;
  if (const OX_RESULT result = oxlLogEntryCreate(manager, &made)) return result;
  std::swap(record.entry_name, made->entry_name);
  (void)oxlFreeLogEntry(made);
  return take_default_schedule(manager, record);
}

OX_RESULT store(const char* manager, LogEntry* record) {
  if (record == nullptr) return OX_EMISSING;
  if (record->entry_name.text == nullptr) {
    if (const OX_RESULT result = name_new(manager, *record)) return result;
  }
  LogEntry* made = nullptr;
  if (const OX_RESULT result = oxlAllocLogEntry(&made)) return result;
  log_ptr copy(made);
  OX_RESULT result = copy_values(record, copy.get(), log_rows);
  copy->lock = 0;
  if (result == OX_OK) result = field::assign(copy->manager, manager);
  if (result == OX_OK) result = oxlLogEntryClose2(manager, copy.get());
  if (result == OX_OK) (void)copy.release();  // closed
  return result;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlLogEntryOpen(const char* manager, const char* name, uint32_t lockOption, LogEntry** record) {
  OX_LOG_START("oxlLogEntryOpen", "%s,%s,%ld", trace::text(manager), trace::text(name), trace::number(lockOption));
  return OX_LOG_CALL("oxlLogEntryOpen", [&] { return open(manager, name, lockOption, record); });
}

OX_RESULT OX_CALL oxlLogEntryClose(LogEntry* record) {
  OX_LOG_START("oxlLogEntryClose", "%x", trace::word(record));
  return OX_LOG_CALL("oxlLogEntryClose", [&] { return close(record); });
}

OX_RESULT OX_CALL oxlLogEntryClose2(const char* manager, LogEntry* record) {
  OX_LOG_START("oxlLogEntryClose2", "%s,%x", trace::text(manager), trace::word(record));
  return OX_LOG_CALL("oxlLogEntryClose2", [&] { return close_and_unlock(manager, record); });
}

OX_RESULT OX_CALL oxlGetLogEntry(const char* manager, const char* name, LogEntry** record) {
  OX_LOG_START("oxlGetLogEntry", "%s,%s,%x", trace::text(manager), trace::text(name), trace::word(record));
  return OX_LOG_CALL("oxlGetLogEntry", [&] { return snapshot(manager, name, record); });
}

OX_RESULT OX_CALL oxlSetLogEntry(const char* manager, LogEntry* record) {
  OX_LOG_START("oxlSetLogEntry", "%s,%x", trace::text(manager), trace::word(record));
  return OX_LOG_CALL("oxlSetLogEntry", [&] { return store(manager, record); });
}
