#include "manager/requests/log_append.h"

#include <array>
#include <map>
#include <optional>

#include "manager/base/attributes.h"
#include "manager/components/stored_value.h"
#include "manager/snmp/columns.h"

namespace ox::manager {
namespace {

// Values by their series: component, attribute, item. The last of two for one series counts.
using Appended = std::map<std::array<std::string, axis_count>, Value>;

[[nodiscard]] bool append(const dnode* node, Appended& values) {
  const char* type = nullptr;
  const char* name = nullptr;
  if (oxdGetCompType(node, &type) != OX_OK || oxdGetCompName(node, &name) != OX_OK) return false;
  auto [leaf, item] = leaf_and_instance(path_of(node));
  if (item.empty() || oxdGetValueType(node) < 0) return false;
  values.insert_or_assign({std::string(type) + ':' + name, std::move(leaf), std::move(item)}, value_of(node));
  return true;
}

OX_RESULT put_round(SeriesStore& series, EntryId id, std::uint32_t due, std::uint32_t status, const Appended& values) {
  if (series.last_due(id) >= std::int64_t{due} * 1000) return OX_EFORMAT;
  const std::uint32_t round = series.begin_round(id, std::int64_t{due} * 1000);
  if (round == SeriesStore::no_round) return OX_EWRITE;
  series.expect(id, round, static_cast<std::uint32_t>(values.size()));
  for (const auto& [place, value] : values) {
    const auto item = [&](Axis axis) { return series.item(id, axis, place[static_cast<std::size_t>(axis)]); };
    const std::uint32_t number = series.series(id, {item(Axis::component), item(Axis::amib), item(Axis::item)});
    (void)series.put(id, round, number, 0, value.type, std::as_bytes(std::span(value.bytes)), status);
  }
  series.end_round(id, round);
  return OX_OK;
}

}  // namespace

void append_round(Manager& manager, const std::string& log_entry, std::uint32_t time, std::uint32_t status,
                  const NodeList& nodes, const std::function<void(OX_RESULT)>& done) {
  const ComponentName log{"logEnt", log_entry};
  Appended values;
  for (const dnode* node = nodes.get(); node != nullptr; node = oxdNext(node)) {
    if (!append(node, values)) return done(OX_EFORMAT);
  }
  const std::uint32_t due = time != 0 ? time : manager.scheduler.now();
  EntryId id = 0;
  OX_RESULT result = manager.collector.fill(log, due, id);
  if (result == OX_OK) result = put_round(manager.series, id, due, status, values);
  if (result != OX_OK) return done(result);
  manager.series.when_safe([&manager, log, due, done](OX_RESULT safe) {
    if (safe == OX_OK) manager.collector.filled(log, due);
    done(safe);
  });
}

}  // namespace ox::manager
