#include "manager/requests/log_append.h"

#include <optional>
#include <vector>

#include "manager/base/attributes.h"
#include "manager/base/period.h"
#include "manager/components/stored_value.h"

namespace ox::manager {
namespace {

enum : std::uint32_t { running = 2, filled_from_outside = 4, collecting = 1 };
constexpr std::uint32_t open_end = 2145916800;

Oid log_path(std::uint32_t number) { return {11, 14, number, 0}; }
Oid data_path(std::uint32_t number) { return {11, 15, number, 0}; }

std::string text_at(const Manager& manager, const ComponentName& name, const Oid& path) {
  const Value* const value = manager.store.value(name, path);
  return value != nullptr ? value->bytes.substr(0, value->bytes.find('\0')) : std::string();
}

std::uint32_t number_at(const Manager& manager, const ComponentName& name, const Oid& path) {
  const Value* const value = manager.store.value(name, path);
  std::uint32_t number = 0;
  if (value == nullptr || value->bytes.size() != 4) return 0;
  for (const char byte : value->bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

Change set_text(const ComponentName& name, const Oid& path, const std::string& text) {
  return {.kind = Change::Kind::set, .component = name, .path = path, .value = {OX_DISPLAYSTRING, text + '\0'}};
}

Change set_number(const ComponentName& name, const Oid& path, std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return {.kind = Change::Kind::set, .component = name, .path = path, .value = {OX_INTEGER, bytes}};
}

// A value on its way into its series.
struct Appended {
  std::string component;
  std::string leaf;
  std::string item;
  Value value;
};

std::optional<Appended> appended(const dnode* node) {
  const char* type = nullptr;
  const char* name = nullptr;
  if (oxdGetCompType(node, &type) != OX_OK || oxdGetCompName(node, &name) != OX_OK) return {};
  const Oid path = path_of(node);
  std::uint32_t leaf = 0;
  const char* number = nullptr;
  if (path.empty() || oxbEntry(oid_text(path).c_str(), &leaf) != OX_OK || oxbIsLeaf(leaf) == 0) return {};
  if (oxbApToNum(leaf, &number) != OX_OK) return {};
  const auto top = parse_oid(number);
  if (!top || top->size() >= path.size() || oxdGetValueType(node) < 0) return {};
  const Oid item(path.begin() + static_cast<std::ptrdiff_t>(top->size()), path.end());
  return Appended{std::string(type) + ':' + name, oid_text(*top), oid_text(item), value_of(node)};
}

// The data entry that takes what is due then: a new one when there is none, or its period is over.
class Target {
 public:
  Target(Manager& manager, ComponentName log_entry) : manager_(manager), log_(std::move(log_entry)) {}

  [[nodiscard]] EntryId find(std::uint32_t due) {
    const ComponentName active{"dataEnt", text_at(manager_, log_, log_path(11))};
    const EntryId id = active.name.empty() ? 0 : manager_.series.find(active.name);
    if (id == 0 || !manager_.series.is_open(id)) return make(due);
    const auto period = parse_period(text_at(manager_, log_, log_path(8)));
    const std::uint32_t start = number_at(manager_, active, data_path(11));
    const auto end = period ? period->next(manager_.zone, number_at(manager_, log_, log_path(6)), start) : std::nullopt;
    if (!end || due < *end || number_at(manager_, log_, log_path(10)) == running) return id;
    manager_.series.close(id);
    const Change closed[]{set_number(active, data_path(8), 3), set_number(active, data_path(12), *end - 1)};
    return manager_.commit(closed) == OX_OK ? make(due) : 0;
  }

 private:
  [[nodiscard]] EntryId make(std::uint32_t due) {
    const ComponentName name{"dataEnt", manager_.store.free_name("dataEnt")};
    const std::uint32_t number = number_at(manager_, log_, log_path(13)) + 1;
    std::vector<Change> changes{{.component = name}};
    const auto copy = [&](std::uint32_t to, std::uint32_t from) {
      changes.push_back(set_text(name, data_path(to), text_at(manager_, log_, log_path(from))));
    };
    for (const auto& [to, from] : {std::pair{1u, 1u}, {2u, 2u}, {5u, 4u}, {6u, 5u}, {7u, 7u}, {10u, 8u}})
      copy(to, from);
    for (const auto& [path, value] :
         {std::pair{3u, number}, {4u, due}, {8u, std::uint32_t{collecting}}, {11u, due}, {12u, open_end}}) {
      changes.push_back(set_number(name, data_path(path), value));
    }
    Change relation{.kind = Change::Kind::relate};
    relation.relation = {"logEnt-dataEnt", log_, name};
    changes.push_back(relation);
    changes.push_back(set_text(log_, log_path(11), name.name));
    changes.push_back(set_number(log_, log_path(13), number));
    if (manager_.commit(changes) != OX_OK) return 0;
    return manager_.series.make(name.name, text_at(manager_, log_, log_path(2)));
  }

  Manager& manager_;
  ComponentName log_;
};

OX_RESULT put_round(SeriesStore& series, EntryId id, std::uint32_t due, std::uint32_t status,
                    const std::vector<Appended>& values) {
  if (series.last_due(id) >= std::int64_t{due} * 1000) return OX_EFORMAT;
  const std::uint32_t round = series.begin_round(id, std::int64_t{due} * 1000);
  if (round == SeriesStore::no_round) return OX_EWRITE;
  series.expect(id, round, static_cast<std::uint32_t>(values.size()));
  for (const Appended& one : values) {
    const std::uint32_t number =
        series.series(id, {series.item(id, Axis::component, one.component), series.item(id, Axis::amib, one.leaf),
                           series.item(id, Axis::item, one.item)});
    (void)series.put(id, round, number, 0, one.value.type, std::as_bytes(std::span(one.value.bytes)), status);
  }
  series.end_round(id, round);
  return OX_OK;
}

}  // namespace

void append_round(Manager& manager, const std::string& log_entry, std::uint32_t time, std::uint32_t status,
                  const NodeList& nodes, const std::function<void(OX_RESULT)>& done) {
  const ComponentName log{"logEnt", log_entry};
  if (!manager.store.has(log)) return done(OX_ENOCOMP);
  const std::uint32_t state = number_at(manager, log, log_path(10));
  if (state != running && state != filled_from_outside) return done(OX_ENOTSTARTABLE);
  std::vector<Appended> values;
  for (const dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) {
    auto value = appended(node);
    if (!value) return done(OX_EFORMAT);
    values.push_back(std::move(*value));
  }
  const std::uint32_t due = time != 0 ? time : static_cast<std::uint32_t>(manager.clock.wall() / 1000);
  const EntryId id = Target(manager, log).find(due);
  if (id == 0) return done(OX_EWRITE);
  if (const OX_RESULT result = put_round(manager.series, id, due, status, values)) return done(result);
  manager.series.when_safe([&manager, log, due, done](OX_RESULT result) {
    const Change last = set_number(log, log_path(12), due);
    if (result == OX_OK && manager.store.has(log)) result = manager.commit(std::span(&last, 1));
    done(result);
  });
}

}  // namespace ox::manager
