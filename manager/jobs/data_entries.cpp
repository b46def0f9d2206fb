#include "manager/jobs/data_entries.h"

#include <algorithm>
#include <utility>

#include "manager/base/log.h"
#include "manager/components/number_value.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t collecting = 1;
constexpr std::uint32_t closing = 2;
constexpr std::uint32_t closed = 3;
constexpr std::uint32_t open_end = 2145916800;  // 2038-01-01 00:00:00 UTC

constexpr char relation_name[] = "logEnt-dataEnt";

Change data_number(const ComponentName& name, DataAttribute attribute, std::uint32_t number) {
  return number_change(name, data_path(attribute), number, OX_INTEGER);
}
Change data_text(const ComponentName& name, DataAttribute attribute, const std::string& text) {
  return text_change(name, data_path(attribute), text);
}

// The zone's text and its offset at that time, in seconds east of Greenwich.
std::string local_time(const Zone& zone, std::uint32_t at) {
  static const Zone utc("UTC0");
  const std::int64_t offset = std::int64_t{utc.seconds(zone.date(at))} - at;
  return installation_zone() + (offset < 0 ? " -" : " +") + std::to_string(offset < 0 ? -offset : offset);
}

std::uint32_t number_of(const Store& store, const ComponentName& name, DataAttribute attribute) {
  return number_of(store.value(name, data_path(attribute)));
}

}  // namespace

bool DataEntries::prepare(LogCollection& entry, std::uint32_t due) {
  if (entry.filling && (entry.filling->until == 0 || due < entry.filling->until)) return true;
  if (entry.filling) leave(entry, entry.filling->until);
  return make(entry, due);
}

bool DataEntries::make(LogCollection& entry, std::uint32_t due) {
  const Values& values = *tools_.store.values(entry.name);
  const std::uint32_t number = log_number(values, LogAttribute::last_data_id) + 1;
  auto [made, mark] = tools_.store.new_name("dataEnt");
  const ComponentName name{"dataEnt", std::move(made)};
  std::vector<Change> batch = attributes(entry, name, due, number);
  batch.push_back(std::move(mark));
  batch.push_back(text_change(entry.name, log_path(LogAttribute::active), name.name));
  batch.push_back(number_change(entry.name, log_path(LogAttribute::last_data_id), number, OX_INTEGER));
  if (tools_.commit(batch) != OX_OK) {
    log(Severity::error, "no data entry can be made for " + entry.name.name + ": the disk refuses it");
    return false;
  }
  const Period& rotate = entry.settings.rotate;
  entry.filling = std::make_shared<Filling>();
  entry.filling->id = tools_.series.make(name.name, entry.settings.key);
  entry.filling->name = name.name;
  entry.filling->until = rotate.next(tools_.zone, entry.settings.start, due).value_or(0);
  entry.filling->serial = ++serial_;
  return entry.filling->id != 0;
}

std::vector<Change> DataEntries::attributes(const LogCollection& entry, const ComponentName& name, std::uint32_t due,
                                            std::uint32_t number) const {
  const LogEntrySettings& settings = entry.settings;
  const std::uint32_t start = settings.rotate.last(tools_.zone, settings.start, due).value_or(due);
  Change relation{.kind = Change::Kind::relate, .relation = {relation_name, entry.name, name}};
  return {
      {.component = name},
      data_text(name, DataAttribute::title, settings.title),
      data_text(name, DataAttribute::key, settings.key),
      data_number(name, DataAttribute::id, number),
      data_number(name, DataAttribute::start, due),
      data_text(name, DataAttribute::component, settings.component),
      data_text(name, DataAttribute::names, settings.names),
      data_text(name, DataAttribute::interval, settings.interval_text),
      data_number(name, DataAttribute::status, collecting),
      data_text(name, DataAttribute::local_time, local_time(tools_.zone, due)),
      data_text(name, DataAttribute::period, settings.rotate_text),
      data_number(name, DataAttribute::period_start, start),
      data_number(name, DataAttribute::period_end, open_end),
      data_number(name, DataAttribute::size, 0),
      std::move(relation),
  };
}

void DataEntries::take_up(LogCollection& entry) {
  const Values& values = *tools_.store.values(entry.name);
  const std::string name = log_text(values, LogAttribute::active);
  const EntryId id = name.empty() ? 0 : tools_.series.find(name);
  if (id == 0 || !tools_.series.is_open(id) || !tools_.store.has(ComponentName{"dataEnt", name})) return;
  const std::uint32_t began = number_of(tools_.store, {"dataEnt", name}, DataAttribute::start);
  entry.filling = std::make_shared<Filling>();
  entry.filling->id = id;
  entry.filling->name = name;
  entry.filling->until = entry.settings.rotate.next(tools_.zone, entry.settings.start, began).value_or(0);
  entry.filling->serial = ++serial_;
}

void DataEntries::leave(LogCollection& entry, std::uint32_t end) {
  const auto filling = std::exchange(entry.filling, nullptr);
  if (!filling) return;
  const ComponentName name{"dataEnt", filling->name};
  filling->closing = true;
  const std::vector<Change> batch{data_number(name, DataAttribute::status, closing),
                                  data_number(name, DataAttribute::period_end, end - 1)};
  if (tools_.store.has(name)) (void)tools_.commit(batch);
  round_ended(filling);
}

void DataEntries::round_ended(const std::shared_ptr<Filling>& filling) {
  if (filling->closing && filling->opened == 0) close(*filling);
}

void DataEntries::close(const Filling& filling) {
  const ComponentName name{"dataEnt", filling.name};
  const auto size =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(tools_.series.counts(filling.id).bytes, 0x7FFFFFFF));
  tools_.series.close(filling.id);
  if (!tools_.store.has(name)) return;
  const std::vector<Change> batch{data_number(name, DataAttribute::status, closed),
                                  data_number(name, DataAttribute::size, size)};
  (void)tools_.commit(batch);
}

std::vector<ComponentName> DataEntries::own(const ComponentName& entry, const std::string& key) const {
  std::vector<ComponentName> names;
  for (const Relation& relation : tools_.store.relations_of(entry)) {
    if (relation.name != relation_name || relation.from != entry) continue;
    const EntryId id = tools_.series.find(relation.to.name);
    if (id != 0 && tools_.series.owner(id) == key) names.push_back(relation.to);
  }
  return names;
}

void DataEntries::expire(const LogCollection& entry, std::uint32_t now) {
  if (entry.settings.expire.none()) return;
  std::vector<ComponentName> old;
  for (ComponentName& name : own(entry.name, entry.settings.key)) {
    if (number_of(tools_.store, name, DataAttribute::status) != closed) continue;
    const std::uint32_t end = number_of(tools_.store, name, DataAttribute::period_end);
    if (entry.settings.expire.later(tools_.zone, end) < now) old.push_back(std::move(name));
  }
  remove(std::move(old), {});
}

void DataEntries::remove(std::vector<ComponentName> names, const ComponentName& after) {
  to_remove_.insert(to_remove_.end(), std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()));
  if (removing_ || to_remove_.empty()) return;
  removing_ = true;
  wait_for(after);
}

void DataEntries::wait_for(const ComponentName& name) {
  const std::shared_ptr<Timer> timer = tools_.clock.timer();
  timer->wait(20, [this, name, timer] {
    if (tools_.store.has(name)) return wait_for(name);
    remove_next();
  });
}

void DataEntries::remove_next() {
  removing_ = !to_remove_.empty();
  if (!removing_) return;
  const ComponentName name = std::move(to_remove_.front());
  to_remove_.pop_front();
  if (!tools_.store.has(name)) return remove_next();
  tools_.remove(name, [this](OX_RESULT) { remove_next(); });
}

}  // namespace ox::manager
