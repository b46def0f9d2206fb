// Data entries deleted, moved to another log entry, copied.
#include <string_view>

#include "data/value_texts.h"
#include "entries/component.h"
#include "entries/copied_title.h"
#include "entries/data/data_entry.h"

namespace ox::entries {
namespace {

constexpr char log_last_id_path[] = "11.14.13.0";
constexpr char log_last_time_path[] = "11.14.12.0";

// A status that cannot be read stands in no one's way.
OX_RESULT get_status(const char* manager, const char* name, std::uint32_t& status) {
  const OX_RESULT result = get_number(manager, {data_type, name}, data_status_path, data_seconds, status);
  return result == OX_ENOVALUE ? OX_RESULT{OX_OK} : result;
}

OX_RESULT set_number(const char* manager, const Component& component, const char* path, std::uint32_t number) {
  Nodes nodes(component);
  const OX_RESULT result = nodes.add(path, OX_INTEGER, number);
  return result != OX_OK ? result : set(manager, nodes, data_seconds);
}

// The log entry that a data entry belongs to; empty for none. 0; 3; the errors of the request.
OX_RESULT find_owner(const char* manager, const char* name, std::string& owner) {
  dnode_ptr answer;
  const OX_RESULT result = get_related(manager, data_relation, {data_type, name}, answer);
  if (result != OX_OK) return result == OX_ENOTFOUND ? OX_RESULT{OX_OK} : result;
  for (const dnode* node = answer.get(); node != nullptr; node = oxdNext(node)) {
    const char* found = nullptr;
    if (const OX_RESULT failure = related_name(*node, data_owner_type, found)) return failure;
    if (found != nullptr) return owner = found, OX_OK;
  }
  return OX_OK;
}

OX_RESULT relate(std::uint32_t code, const char* manager, const char* log_entry, const char* name) {
  return manage_two(code, manager, data_relation, {data_owner_type, log_entry}, {data_type, name});
}

// The number that the target's next data entry has, which is the target's last one from now on.
OX_RESULT take_next_id(const char* manager, const char* target, std::uint32_t& id) {
  const Component log_entry{data_owner_type, target};
  std::uint32_t last = 0;
  if (const OX_RESULT result = get_number(manager, log_entry, log_last_id_path, data_seconds, last)) return result;
  id = last + 1;
  return set_number(manager, log_entry, log_last_id_path, id);
}

OX_RESULT check_names(const char* name, const char* target) noexcept {
  if (name == nullptr || target == nullptr) return OX_EMISSING;
  const OX_RESULT result = check_name(name);
  return result != OX_OK ? result : check_name(target);
}

OX_RESULT remove(const char* manager, const char* name) {
  if (const OX_RESULT result = check_name(name)) return result;
  std::uint32_t status = 0;
  if (const OX_RESULT result = get_status(manager, name, status)) return result;
  if (status == data_collecting) return OX_EDELETEBUSY;
  return delete_component(delete_entry, manager, {data_type, name});
}

// A move, and what it has done so far.
struct Move {
  const char* manager;
  const char* name;
  const char* target;
  std::uint32_t old_id = 0;
  std::string old_owner{};
  bool left = false;     // the old relation is gone
  bool arrived = false;  // the new one is there

  OX_RESULT renumber() {
    const Component entry{data_type, name};
    if (const OX_RESULT result = get_number(manager, entry, data_id_path, data_seconds, old_id)) return result;
    std::uint32_t id = 0;
    if (const OX_RESULT result = take_next_id(manager, target, id)) return result;
    return set_number(manager, entry, data_id_path, id);
  }

  OX_RESULT hand_over() {
    if (const OX_RESULT result = find_owner(manager, name, old_owner)) return result;
    if (!old_owner.empty()) {
      if (const OX_RESULT result = relate(remove_relation, manager, old_owner.c_str(), name)) return result;
      left = true;
    }
    if (const OX_RESULT result = relate(add_relation, manager, target, name)) return result;
    arrived = true;
    return set_number(manager, {data_type, name}, data_status_path, data_closed);
  }

  // The target's last number stays used.
  void undo() {
    (void)set_number(manager, {data_type, name}, data_id_path, old_id);
    if (arrived) (void)relate(remove_relation, manager, target, name);
    if (left) (void)relate(add_relation, manager, old_owner.c_str(), name);
  }
};

OX_RESULT move(const char* manager, const char* name, const char* target) {
  if (const OX_RESULT result = check_names(name, target)) return result;
  std::uint32_t status = 0;
  if (const OX_RESULT result = get_status(manager, name, status)) return result;
  if (status == data_collecting || status == data_busy) return OX_EMOVEBUSY;
  Move moved{manager, name, target};
  if (const OX_RESULT result = moved.renumber()) return result;
  const OX_RESULT result = guarded([&] { return moved.hand_over(); });
  if (result != OX_OK) moved.undo();
  return result;
}

// What of the source goes into the copy in another form.
struct Copied {
  const char* manager;
  const char* source;
  std::uint32_t id;       // the copy's
  bool was_open = false;  // the source is being filled

  // An end that is not there yet: the last time at which the source's log entry collected.
  OX_RESULT add_end(const dnode& node, Nodes& nodes) const {
    std::uint32_t end = 0;
    if (!was_open || !read_number(&node, end) || end != open_period_end) return nodes.add_copy(node);
    std::string owner;
    OX_RESULT result = find_owner(manager, source, owner);
    if (result == OX_OK && owner.empty()) return nodes.add_copy(node);
    if (result == OX_OK) {
      result = get_number(manager, {data_owner_type, owner.c_str()}, log_last_time_path, data_seconds, end);
    }
    if (result != OX_OK) return result;
    return nodes.add(node.amib_name.text, static_cast<std::uint32_t>(oxdGetValueType(&node)), end);
  }

  OX_RESULT add(const dnode& node, Nodes& nodes) const {
    if (!node.has(data::bit::amib_name) || !node.has(data::bit::value)) return OX_OK;
    const std::string_view path = node.amib_name.text;
    std::uint32_t number = 0;
    if (path == "11.15.1.0") return add_copied_title(node, nodes);
    if (path == data_id_path) return nodes.add(data_id_path, OX_INTEGER, id);
    if (path == data_status_path && read_number(&node, number) && number == data_collecting) {
      return nodes.add(data_status_path, OX_INTEGER, data_closed);
    }
    return path == "11.15.12.0" ? add_end(node, nodes) : nodes.add_copy(node);
  }
};

bool is_collecting(const dnode* answer) noexcept {
  for (const dnode* node = answer; node != nullptr; node = oxdNext(node)) {
    std::uint32_t status = 0;
    const bool found = node->has(data::bit::amib_name) && std::string_view(node->amib_name.text) == data_status_path;
    if (found && read_number(node, status)) return status == data_collecting;
  }
  return false;
}

OX_RESULT fill_copy(const char* manager, const char* source, const char* target, const char* copy,
                    const dnode* answer) {
  std::uint32_t id = 0;
  if (const OX_RESULT result = take_next_id(manager, target, id)) return result;
  const Copied copied{manager, source, id, is_collecting(answer)};
  Nodes nodes({data_type, copy});
  OX_RESULT result = OX_OK;
  for (const dnode* node = answer; node != nullptr && result == OX_OK; node = oxdNext(node)) {
    result = copied.add(*node, nodes);
  }
  if (result == OX_OK) result = set(manager, nodes, data_seconds);
  if (result == OX_OK) result = manage_two(copy_collected, manager, nullptr, {data_type, source}, {data_type, copy});
  return result != OX_OK ? result : relate(add_relation, manager, target, copy);
}

OX_RESULT copy(const char* manager, const char* source, const char* target, const char** name) {
  if (name == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = check_names(source, target)) return result;
  dnode_ptr answer;
  if (const OX_RESULT result =
          get(manager, {data_type, source}, "11.15.{1,2,3,5,6,7,8,9,10,11,12,13}", 0, data_seconds, answer)) {
    return result;
  }
  const char* added = nullptr;
  if (const OX_RESULT result = add_component(add_entry, manager, {data_type, nullptr}, added)) return result;
  AddedComponent entry(delete_entry, manager, {data_type, added});
  if (const OX_RESULT result = fill_copy(manager, source, target, added, answer.get())) return result;
  entry.release();
  *name = added;
  return OX_OK;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

#define DELETE(name)                                                         \
  OX_RESULT OX_CALL name(const char* manager, const char* entry) {           \
    OX_DATA_START(#name, "%s,%s", trace::text(manager), trace::text(entry)); \
    return OX_DATA_CALL(#name, [&] { return remove(manager, entry); });      \
  }
DELETE(oxlDataEntryDelete)
DELETE(oxlDeleteDataEntry)

OX_RESULT OX_CALL oxlDataEntryMove(const char* manager, const char* name, const char* logEntry) {
  OX_DATA_START("oxlDataEntryMove", "%s,%s,%s", trace::text(manager), trace::text(name), trace::text(logEntry));
  return OX_DATA_CALL("oxlDataEntryMove", [&] { return move(manager, name, logEntry); });
}

OX_RESULT OX_CALL oxlDataEntryCopy(const char* manager, const char* source, const char* logEntry, const char** name) {
  OX_DATA_START("oxlDataEntryCopy", "%s,%s,%s,%x", trace::text(manager), trace::text(source), trace::text(logEntry),
                trace::word(name));
  return OX_DATA_CALL("oxlDataEntryCopy", [&] { return copy(manager, source, logEntry, name); });
}
