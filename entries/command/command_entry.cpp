// Command entries at the manager: reading, writing, making and deleting one.
#include "entries/command/command_entry.h"

#include <algorithm>
#include <array>

#include "entries/component.h"

namespace ox::entries {
namespace {

constexpr std::uint32_t set_seconds = 30;

// What a set writes, in its order; the first eight are the main attributes.
constexpr auto written_rows = [] {
  std::array<Row, 11> rows{};
  const std::size_t order[] = {offsetof(cmdEntry, owner),
                               offsetof(cmdEntry, cmd_name),
                               offsetof(cmdEntry, argument),
                               offsetof(cmdEntry, start_time),
                               offsetof(cmdEntry, interval),
                               offsetof(cmdEntry, mode),
                               offsetof(cmdEntry, id),
                               offsetof(cmdEntry, admin_status),
                               offsetof(cmdEntry, schedule),
                               offsetof(cmdEntry, invalid_cmd_name),
                               offsetof(cmdEntry, invalid_cmd_arg)};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    rows[i] = *std::ranges::find(command_rows, order[i], &Row::offset);
    rows[i].change = std::uint32_t{1} << i;
  }
  return rows;
}();
// The arguments of those calls that write the main attributes.
struct MainAttributes {
  const char* owner;
  const char* command;
  const char* argument;
  std::uint32_t start_time;
  std::uint32_t interval;
  std::uint32_t mode;
  std::uint32_t admin_status;

  [[nodiscard]] OX_RESULT append_to(Nodes& nodes) const noexcept {
    const char* const texts[] = {owner, command, argument};
    const std::uint32_t numbers[] = {start_time, interval, mode, 0, admin_status};  // an ID of 0 keeps it
    OX_RESULT result = OX_OK;
    const Row* row = written_rows.data();
    for (const char* const text : texts) {
      if (result == OX_OK) result = nodes.add((row++)->path, text);
    }
    for (const std::uint32_t number : numbers) {
      if (result == OX_OK) result = nodes.add(row->path, row->type, number);
      ++row;
    }
    return result;
  }
};

OX_RESULT open(const char* manager, const char* name, cmdEntry** record) {
  if (name == nullptr || record == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_name(name)) return result;
  command_ptr made(oxcmdEntryAlloc());
  if (!made) return OX_ENOMEM;
  OX_RESULT result = field::assign(made->entry_name, name, "CmdEntryName");
  dnode_ptr answer;
  if (result == OX_OK) result = get(manager, {command_type, name}, "11.23", 0, 0, answer);
  if (result == OX_OK) result = read_values(made.get(), command_rows, answer.get(), OX_EARG);
  if (result == OX_OK) *record = made.release();
  return result;
}

OX_RESULT remove(const char* manager, const char* name) {
  return name != nullptr ? delete_component(delete_command, manager, {command_type, name}) : OX_RESULT{OX_EARG};
}

OX_RESULT set_all(const char* manager, const char* name, const MainAttributes& values) {
  if (name == nullptr) return OX_EARG;
  Nodes nodes({command_type, name});
  const OX_RESULT result = values.append_to(nodes);
  return result != OX_OK ? result : set(manager, nodes, set_seconds);
}

// Writes one attribute: a text or a number as the row has it.
template <class... Value>
OX_RESULT set_one(const char* manager, const char* name, const char* path, Value... value) {
  if (name == nullptr) return OX_EARG;
  Nodes nodes({command_type, name});
  const OX_RESULT result = nodes.add(path, value...);
  return result != OX_OK ? result : set(manager, nodes, set_seconds);
}

OX_RESULT write_new(const char* manager, const char* name, const MainAttributes& values) {
  Nodes nodes({command_type, name});
  OX_RESULT result = nodes.add(entry_name_path, name);
  if (result == OX_OK) result = values.append_to(nodes);
  return result != OX_OK ? result : manage(set_command, manager, nodes);
}

OX_RESULT create(const char* manager, const MainAttributes& values, const char** name) {
  const bool missing = values.owner == nullptr || values.command == nullptr || values.argument == nullptr;
  if (values.admin_status > 1 || missing || name == nullptr) return OX_EARG;
  const char* added = nullptr;
  if (const OX_RESULT result = add_component(add_command, manager, {command_type, nullptr}, added)) return result;
  AddedComponent entry(delete_command, manager, {command_type, added});
  if (const OX_RESULT result = write_new(manager, added, values)) return result;
  entry.release();
  *name = added;
  return OX_OK;
}

OX_RESULT create_from(const char* manager, const cmdEntry* record, cmdEntry** made) {
  if (record == nullptr || made == nullptr) return OX_EARG;
  command_ptr copy;
  if (const OX_RESULT result = copy_command(*record, copy)) return result;
  const char* name = nullptr;
  const Component wanted{command_type, record->entry_name.text};
  if (const OX_RESULT result = add_component(add_command, manager, wanted, name)) return result;
  AddedComponent entry(delete_command, manager, {command_type, name});
  OX_RESULT result = field::assign(copy->entry_name, name, "CmdEntryName");
  if (result == OX_OK) result = write_command(manager, *copy);
  if (result != OX_OK) return result;
  copy->error = OX_OK;
  entry.release();
  *made = copy.release();
  return OX_OK;
}

}  // namespace

OX_RESULT write_command(const char* manager, const cmdEntry& record) {
  const char* const name = record.entry_name.text;
  if (name == nullptr) return OX_EARG;
  Nodes nodes({command_type, name});
  const OX_RESULT result = append_values(nodes, &record, written_rows, given_values(&record, written_rows));
  return result != OX_OK ? result : set(manager, nodes, set_seconds);
}

}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxcmdEntryOpen(const char* manager, const char* name, cmdEntry** record) {
  OX_CMD_START("oxcmdEntryOpen", "%s,%s,0x%x", trace::text(manager), trace::text(name), trace::word(record));
  return OX_CMD_CALL("oxcmdEntryOpen", [&] { return open(manager, name, record); });
}

OX_RESULT OX_CALL oxcmdDeleteCmdEntry(const char* manager, const char* name) {
  OX_CMD_START("oxcmdDeleteCmdEntry", "%s,%s", trace::text(manager), trace::text(name));
  return OX_CMD_CALL("oxcmdDeleteCmdEntry", [&] { return remove(manager, name); });
}

OX_RESULT OX_CALL oxcmdCreateCmdEntry(const char* manager, const char* owner, const char* command, const char* argument,
                                      uint32_t startTime, uint32_t interval, uint32_t mode, uint32_t adminStatus,
                                      const char** name) {
  OX_CMD_START("oxcmdCreateCmdEntry", "%s,%s,%s,%s,%u,%u,%u,%u,0x%x", trace::text(manager), trace::text(owner),
               trace::text(command), trace::text(argument), startTime, interval, mode, adminStatus, trace::word(name));
  return OX_CMD_CALL("oxcmdCreateCmdEntry", [&] {
    return create(manager, {owner, command, argument, startTime, interval, mode, adminStatus}, name);
  });
}

OX_RESULT OX_CALL oxcmdCreateNewCmdEntry(const char* manager, const cmdEntry* record, cmdEntry** made) {
  OX_CMD_START("oxcmdCreateNewCmdEntry", "%s,0x%x,0x%x", trace::text(manager), trace::word(record), trace::word(made));
  return OX_CMD_CALL("oxcmdCreateNewCmdEntry", [&] { return create_from(manager, record, made); });
}

OX_RESULT OX_CALL oxcmdSetAllData(const char* manager, const char* name, const char* owner, const char* command,
                                  const char* argument, uint32_t startTime, uint32_t interval, uint32_t mode,
                                  uint32_t adminStatus) {
  OX_CMD_START("oxcmdSetAllData", "%s,%s,%s,%s,%s,%u,%u,%u,%u", trace::text(manager), trace::text(name),
               trace::text(owner), trace::text(command), trace::text(argument), startTime, interval, mode, adminStatus);
  return OX_CMD_CALL("oxcmdSetAllData", [&] {
    return set_all(manager, name, {owner, command, argument, startTime, interval, mode, adminStatus});
  });
}

#define OWN(kind, Stem, member)
#define SET_Text(Stem, path, type)                                                                          \
  OX_RESULT OX_CALL oxcmdSet##Stem(const char* manager, const char* name, const char* text) {               \
    OX_CMD_START("oxcmdSet" #Stem, "%s,%s,%s", trace::text(manager), trace::text(name), trace::text(text)); \
    return OX_CMD_CALL("oxcmdSet" #Stem, [&] { return set_one(manager, name, path, text); });               \
  }
#define SET_Number(Stem, path, type)                                                                                \
  OX_RESULT OX_CALL oxcmdSet##Stem(const char* manager, const char* name, uint32_t value) {                         \
    OX_CMD_START("oxcmdSet" #Stem, "%s,%s,%u", trace::text(manager), trace::text(name), value);                     \
    return OX_CMD_CALL("oxcmdSet" #Stem, [&] { return set_one(manager, name, path, std::uint32_t{type}, value); }); \
  }
#define ATTRIBUTE(kind, Stem, member, path, type) SET_##kind(Stem, path, type)
OX_CMDENTRY_FIELDS(OWN, ATTRIBUTE)
