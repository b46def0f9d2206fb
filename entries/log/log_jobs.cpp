// Log entries as jobs of the manager: making, copying, deleting, starting and stopping one.
#include <cstring>
#include <string_view>

#include "entries/component.h"
#include "entries/copied_title.h"
#include "entries/log/log_entry.h"

namespace ox::entries {
namespace {

constexpr char status_path[] = "11.14.10.0";

OX_RESULT create(const char* manager, LogEntry** out) {
  if (out == nullptr) return OX_EMISSING;
  const char* name = nullptr;
  if (const OX_RESULT result = add_component(add_entry, manager, {log_type, nullptr}, name)) return result;
  AddedComponent entry(delete_entry, manager, {log_type, name});
  log_ptr made;
  if (const OX_RESULT result = make_log_entry(name, "LogEntry_002", made)) return result;
  entry.release();
  *out = made.release();
  return OX_OK;
}

// A copy does not run and has collected nothing.
OX_RESULT add_copied(const dnode& node, Nodes& nodes) {
  if (!node.has(data::bit::amib_name) || !node.has(data::bit::value)) return OX_OK;
  const std::string_view path = node.amib_name.text;
  std::uint32_t status = 0;
  if (path == "11.14.1.0") return add_copied_title(node, nodes);
  if (path == status_path) {
    const bool kept = read_number(&node, status) && status == log_not_startable;
    return nodes.add(status_path, OX_INTEGER, kept ? log_not_startable : log_stopped);
  }
  if (path == "11.14.12.0" || path == "11.14.13.0") return nodes.add(node.amib_name.text, OX_INTEGER, 0u);
  return nodes.add_copy(node);
}

OX_RESULT copy_attributes(const char* manager, const char* source, const char* target) {
  dnode_ptr answer;
  OX_RESULT result = get(manager, {log_type, source}, "11.14.{1,4,5,6,7,8,9,10,12,13,16,17}", 26, log_seconds, answer);
  Nodes nodes({log_type, target});
  for (const dnode* node = answer.get(); node != nullptr && result == OX_OK; node = oxdNext(node)) {
    result = add_copied(*node, nodes);
  }
  if (result == OX_OK) result = nodes.add(log_reload_path, OX_INTEGER, 1);
  return result != OX_OK ? result : set(manager, nodes, log_seconds);
}

OX_RESULT copy(const char* manager, const char* source, const char** name) {
  if (source == nullptr || *source == '\0' || name == nullptr) return OX_EMISSING;
  const char* added = nullptr;
  if (const OX_RESULT result = add_component(add_entry, manager, {log_type, nullptr}, added)) return result;
  AddedComponent entry(delete_entry, manager, {log_type, added});
  if (const OX_RESULT result = copy_attributes(manager, source, added)) return result;
  entry.release();
  *name = added;
  return OX_OK;
}

OX_RESULT remove(const char* manager, const char* name) {
  if (const OX_RESULT result = check_name(name)) return result;
  if (std::strcmp(name, "_logEnt1") == 0) return OX_ESYSTEMENTRY;  // the manager's own
  return delete_component(delete_entry, manager, {log_type, name});
}

OX_RESULT change_status(const char* manager, const char* name, std::uint32_t status) {
  if (const OX_RESULT result = check_name(name)) return result;
  std::uint32_t present = 0;
  const OX_RESULT asked = get_number(manager, {log_type, name}, status_path, log_seconds, present);
  if (asked != OX_OK && asked != OX_ENOVALUE) return asked;
  if (present == log_not_startable) return OX_ENOTSTARTABLE;
  Nodes nodes({log_type, name});
  const OX_RESULT result = nodes.add(status_path, OX_INTEGER, status);
  return result != OX_OK ? result : set(manager, nodes, log_seconds);
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlLogEntryCreate(const char* manager, LogEntry** record) {
  OX_LOG_START("oxlLogEntryCreate", "%s,%x", trace::text(manager), trace::word(record));
  return OX_LOG_CALL("oxlLogEntryCreate", [&] { return create(manager, record); });
}

OX_RESULT OX_CALL oxlLogEntryCopy(const char* manager, const char* source, const char** name) {
  OX_LOG_START("oxlLogEntryCopy", "%s,%s,%x", trace::text(manager), trace::text(source), trace::word(name));
  return OX_LOG_CALL("oxlLogEntryCopy", [&] { return copy(manager, source, name); });
}

// The exit lines of the next three are not of the common form; tools read them.
OX_RESULT OX_CALL oxlLogEntryDelete(const char* manager, const char* name) {
  OX_LOG_START("oxlLogEntryDelete", "%s,%s", trace::text(manager), trace::text(name));
  return traced_as(trace::general, "<S:oxlLogEntryDelete[%ld]>\n", [&] { return remove(manager, name); });
}

OX_RESULT OX_CALL oxlLogEntryStart(const char* manager, const char* name) {
  OX_LOG_START("oxlLogEntryStart", "%s,%s", trace::text(manager), trace::text(name));
  return traced_as(trace::general, "<E:oxlLogEntryGetData{%d]>\n",
                   [&] { return change_status(manager, name, log_running); });
}

OX_RESULT OX_CALL oxlLogEntryStop(const char* manager, const char* name) {
  OX_LOG_START("oxlLogEntryStop", "%s,%s", trace::text(manager), trace::text(name));
  return traced_as(trace::general, "<E:oxlLogEntryGetData{%d]>\n",
                   [&] { return change_status(manager, name, log_stopped); });
}

#define SAME(name, other)                                                   \
  OX_RESULT OX_CALL name(const char* manager, const char* entry) {          \
    OX_LOG_START(#name, "%s,%s", trace::text(manager), trace::text(entry)); \
    return OX_LOG_CALL(#name, [&] { return other(manager, entry); });       \
  }
SAME(oxlDeleteLogEntry, oxlLogEntryDelete)
SAME(oxlStartLogEntry, oxlLogEntryStart)
SAME(oxlStopLogEntry, oxlLogEntryStop)
