#include "manager/jobs/collector.h"

#include <algorithm>
#include <asio/post.hpp>

#include "manager/base/log.h"
#include "manager/components/number_value.h"
#include "manager/jobs/targets.h"
#include "platform/server/resident_memory.h"

namespace ox::manager {
namespace {

constexpr std::int64_t tell_after = 100;  // milliseconds: what has been collected is told for many rounds at once
constexpr std::int64_t look_after_every = 60'000;  // at what has expired
constexpr std::int64_t disk_every = 10'000;

constexpr LogAttribute planned[] = {LogAttribute::title,    LogAttribute::component,    LogAttribute::names,
                                    LogAttribute::start,    LogAttribute::interval,     LogAttribute::rotate,
                                    LogAttribute::expire,   LogAttribute::status,       LogAttribute::reload,
                                    LogAttribute::schedule, LogAttribute::schedule_type};

bool is_planned(const Oid& path) {
  return std::any_of(std::begin(planned), std::end(planned),
                     [&path](LogAttribute attribute) { return path == log_path(attribute); });
}

// The row of an agent: its address and port.
Oid answers_path(const asio::ip::udp::endpoint& agent) {
  Oid path = manager_figures_path;
  path.push_back(11);
  for (const unsigned char byte : agent.address().to_v4().to_bytes()) path.push_back(byte);
  path.push_back(agent.port());
  return path;
}

}  // namespace

Collector::Collector(CollectorTools tools)
    : tools_(std::move(tools)),
      data_(tools_),
      fit_(tools_),
      memory_(tools_),
      rounds_(tools_, [this](const LogCollectionPtr& entry, const Round& round) { round_ended(entry, round); }),
      teller_(tools_.clock.timer()),
      looker_(tools_.clock.timer()) {
  tools_.entries.keep("logEnt", {.changed = [this](const ComponentName& name, EntryChanges::What what,
                                                   std::span<const Oid> paths) { changed(name, what, paths); },
                                 .check = [this](Change& change) { return check(change); }});
}

void Collector::make_own_entry() {
  const ComponentName name{"logEnt", "_logEnt1"};
  if (tools_.store.has(name)) return;
  const Change added{.component = name};
  if (tools_.commit(std::span(&added, 1)) != OX_OK) return;
  const auto text = [&name](LogAttribute attribute, const char* value) {
    return text_change(name, log_path(attribute), value);
  };
  const std::vector<Change> set{
      text(LogAttribute::title, "The manager itself"),
      text(LogAttribute::component, "system:system"),
      text(LogAttribute::names, "sysmib.oxManager"),
      text(LogAttribute::interval, "1m"),
      text(LogAttribute::rotate, "1D"),
      text(LogAttribute::expire, "1W"),
      number_change(name, log_path(LogAttribute::status), static_cast<std::uint32_t>(LogStatus::running), OX_INTEGER)};
  (void)tools_.commit(set);
}

void Collector::add_own_figures(const FigureQuestion& question, std::vector<Figure>& found) const {
  const Agents& agents = tools_.asker.agents();
  const auto add = [&found](Oid path, std::uint64_t figure) {
    Figure& added = found.emplace_back();
    added.path = std::move(path);
    added.value = figure;
  };
  std::uint32_t number = 0;
  for (const std::uint64_t figure :
       {std::uint64_t{agents.engine().waiting()}, std::uint64_t{agents.engine().in_flight()}, agents.requests(),
        agents.answers(), agents.timeouts(), std::uint64_t{agents.count()},
        static_cast<std::uint64_t>(rounds_.lateness()), std::uint64_t{oxcGetMemValue(1)}, platform::resident_memory(),
        rounds_.refused()}) {
    add(manager_figure_path(++number), figure);
  }
  if (!is_under(question.top, manager_figures_path)) return;
  for (const auto& [address, answers] : agents.answers_of_each()) {
    if (address.address().is_v4()) add(answers_path(address), answers);
  }
}

const LogCollection* Collector::find(const ComponentName& name) const {
  const auto found = entries_.find(name);
  return found == entries_.end() ? nullptr : found->second.get();
}

// ---- What is set ----

OX_RESULT Collector::check(Change& change) {
  if (change.path.size() != 4) return OX_OK;
  const auto attribute = static_cast<LogAttribute>(change.path[2]);
  if (change.kind == Change::Kind::unset)
    return attribute == LogAttribute::key ? OX_RESULT{OX_EDENIED} : OX_RESULT{OX_OK};
  if (const OX_RESULT result = check_log_value(attribute, change.value)) return result;
  const Value* const kept = tools_.store.value(change.component, change.path);
  const bool is_zero = change.value.bytes == std::string(4, '\0');
  if (kept != nullptr && (attribute == LogAttribute::key || (attribute == LogAttribute::id && is_zero))) {
    change.value = *kept;
  }
  if (checked_.empty()) asio::post(tools_.loop, [this] { checked_.clear(); });
  checked_[change.component][change.path] = change.value;
  return attribute == LogAttribute::status ? check_start(change) : OX_RESULT{OX_OK};
}

// With what is set together with it.
OX_RESULT Collector::check_start(const Change& change) {
  const Values* const stored = tools_.store.values(change.component);
  if (stored == nullptr) return OX_OK;
  Values values = *stored;
  for (const auto& [path, value] : checked_[change.component]) values[path] = value;
  if (static_cast<LogStatus>(log_number(values, LogAttribute::status)) != LogStatus::running) return OX_OK;
  LogEntrySettings settings;
  const OX_RESULT result = read_log_entry(values, settings);
  return result == OX_OK || result == OX_EMISSING ? result : OX_RESULT{OX_EFORMAT};
}

void Collector::changed(const ComponentName& name, EntryChanges::What what, std::span<const Oid> paths) {
  if (what == EntryChanges::What::removed) return removed(name);
  if (what != EntryChanges::What::set) complete(name);
  LogCollectionPtr& entry = entries_[name];
  if (!entry) entry = std::make_shared<LogCollection>(LogCollection{.name = name});
  const bool loaded = what == EntryChanges::What::loaded;
  const bool matters = what != EntryChanges::What::set || std::any_of(paths.begin(), paths.end(), is_planned);
  if (matters) apply(LogCollectionPtr(entry), loaded);
}

// What a new entry has by itself: its number, its key, a status.
void Collector::complete(const ComponentName& name) {
  const Values& values = *tools_.store.values(name);
  std::vector<Change> batch;
  const std::uint32_t now = tools_.scheduler.now();
  if (log_number(values, LogAttribute::id) == 0) {
    const Oid last_path{10, 102, 1, 0};  // kept beside the entries: no number is given twice
    std::uint32_t number = number_of(tools_.store.value(Store::built_in_name(), last_path));
    for (const auto& [other, entry] : entries_) {
      if (const Values* const of = tools_.store.values(other))
        number = std::max(number, log_number(*of, LogAttribute::id));
    }
    batch.push_back(number_change(name, log_path(LogAttribute::id), number + 1, OX_INTEGER));
    batch.push_back(number_change(Store::built_in_name(), last_path, number + 1, OX_INTEGER));
  }
  if (log_text(values, LogAttribute::key).empty()) {
    batch.push_back(text_change(name, log_path(LogAttribute::key), name.name + '@' + std::to_string(now)));
  }
  if (log_number(values, LogAttribute::status) == 0) {
    const auto stopped = static_cast<std::uint32_t>(LogStatus::stopped);
    batch.push_back(number_change(name, log_path(LogAttribute::status), stopped, OX_INTEGER));
  }
  if (log_number(values, LogAttribute::failed) != 0) {
    batch.push_back(number_change(name, log_path(LogAttribute::failed), 0, OX_INTEGER));
  }
  if (!batch.empty()) (void)tools_.commit(batch);
}

void Collector::removed(const ComponentName& name) {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return;
  const LogCollectionPtr entry = found->second;
  entries_.erase(found);
  to_tell_.erase(entry);
  std::vector<ComponentName> own = data_.own(name, entry->settings.key);
  stop(*entry);
  data_.remove(std::move(own), name);
}

void Collector::apply(const LogCollectionPtr& entry, bool loaded) {
  LogEntrySettings settings;
  const Values& values = *tools_.store.values(entry->name);
  const OX_RESULT result = read_log_entry(values, settings);
  const bool runs = settings.status == LogStatus::running && result == OX_OK;
  if (entry->plan != 0) tools_.scheduler.forget(std::exchange(entry->plan, 0));
  if (!runs && settings.status != LogStatus::filled_from_outside) stop(*entry);
  if (settings.status == LogStatus::running && result != OX_OK) {
    log(Severity::warning, entry->name.name + " collects nothing: its settings give " + std::to_string(result));
  }
  entry->settings = std::move(settings);
  entry->targets_of = 0;
  if (runs) start(entry, loaded);
  if (log_number(values, LogAttribute::reload) == 0) return;
  const Change done = number_change(entry->name, log_path(LogAttribute::reload), 0, OX_INTEGER);
  asio::post(tools_.loop, [this, done] {
    if (tools_.store.has(done.component)) (void)tools_.commit(std::span(&done, 1));
  });
}

// ---- Start and stop ----

void Collector::start(const LogCollectionPtr& entry, bool loaded) {
  entry->names = read_collected_names(entry->settings.names);
  if (!entry->names) return;
  if (!entry->filling) data_.take_up(*entry);
  std::uint32_t told = tools_.scheduler.now();
  if (loaded) {
    const std::uint32_t last = log_number(*tools_.store.values(entry->name), LogAttribute::last_collected);
    const std::int64_t kept = entry->filling ? tools_.series.last_due(entry->filling->id) / 1000 : 0;
    entry->last_collected = std::max(last, static_cast<std::uint32_t>(kept));
    if (entry->last_collected != 0) told = std::min(told, entry->last_collected);
  }
  entry->plan = tools_.scheduler.plan(entry->settings.plan(tools_.zone), told,
                                      [this, entry](const Due& moment) { due(entry, moment); });
  looker_->wait(look_after_every, [this] { look_after(); });
}

void Collector::stop(LogCollection& entry) {
  if (entry.plan != 0) tools_.scheduler.forget(std::exchange(entry.plan, 0));
  if (!entry.filling) return;
  rounds_.tell_refused(entry);
  data_.leave(entry, tools_.scheduler.now() + 1);
}

void Collector::look_after() {
  looker_->wait(look_after_every, [this] { look_after(); });
  for (const auto& [name, entry] : entries_) {
    if (entry->plan != 0) data_.expire(*entry, tools_.scheduler.now());
  }
  remember_agents();
}

void Collector::remember_agents() {
  LogTargets all;
  for (const auto& [name, entry] : entries_) {
    if (entry->plan != 0 && entry->targets) all.insert(all.end(), entry->targets->begin(), entry->targets->end());
  }
  memory_.keep(std::move(all));
}

// ---- Rounds ----

void Collector::due(const LogCollectionPtr& entry, const Due& moment) {
  if ((moment.kinds & (std::uint32_t{OXCMD_INSTANT} | due_interval)) == 0 || moment.arrival == Arrival::again) return;
  if (!find_targets(tools_, *entry)) entry->targets = std::make_shared<LogTargets>();
  if (!data_.prepare(*entry, moment.time)) return rounds_.refuse(*entry, moment.time, Gap::disk_full);
  // The clock may have been set back behind what is stored.
  if (tools_.series.last_due(entry->filling->id) >= moment.time * std::int64_t{1000}) return;
  if (moment.missed()) return missed(*entry, moment);
  if (disk_is_full()) return rounds_.skip(entry, moment.time, Gap::disk_full);
  rounds_.begin(entry, moment.time);
}

OX_RESULT Collector::fill(const ComponentName& name, std::uint32_t due, EntryId& id) {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return OX_ENOCOMP;
  LogCollection& entry = *found->second;
  const LogStatus status = entry.settings.status;
  if (status != LogStatus::running && status != LogStatus::filled_from_outside) return OX_ENOTSTARTABLE;
  if (due <= std::max(entry.last_collected, log_number(*tools_.store.values(name), LogAttribute::last_collected))) {
    return OX_EFORMAT;
  }
  if (!entry.filling) data_.take_up(entry);
  if (!data_.prepare(entry, due)) return OX_EWRITE;
  id = entry.filling->id;
  return OX_OK;
}

void Collector::filled(const ComponentName& name, std::uint32_t due) {
  const auto found = entries_.find(name);
  if (found == entries_.end()) return;
  found->second->last_collected = std::max(found->second->last_collected, due);
  tell_later(found->second);
}

void Collector::missed(LogCollection& entry, const Due& moment) {
  const Gap gap = moment.arrival == Arrival::manager_down ? Gap::manager_down : Gap::clock_stepped;
  tools_.series.missed(entry.filling->id, moment.time * std::int64_t{1000}, moment.last * std::int64_t{1000},
                       moment.count, moment.count * entry.expected(), gap);
}

void Collector::round_ended(const LogCollectionPtr& entry, const Round& round) {
  entry->last_collected = std::max(entry->last_collected, round.due);
  if (round.failed) ++entry->failed;
  data_.round_ended(round.filling);
  if (entries_.contains(entry->name)) tell_later(entry);
}

void Collector::tell_later(const LogCollectionPtr& entry) {
  if (to_tell_.empty()) teller_->wait(tell_after, [this] { tell(); });
  to_tell_.insert(entry);
}

// What these entries have collected last, in one batch.
void Collector::tell() {
  std::vector<Change> batch;
  for (const LogCollectionPtr& entry : std::exchange(to_tell_, {})) {
    const Values* const values = tools_.store.values(entry->name);
    if (values == nullptr || !entries_.contains(entry->name)) continue;
    const Oid last = log_path(LogAttribute::last_collected);
    batch.push_back(number_change(entry->name, last, entry->last_collected, OX_INTEGER));
    if (log_number(*values, LogAttribute::failed) == entry->failed) continue;
    batch.push_back(number_change(entry->name, log_path(LogAttribute::failed), entry->failed, OX_INTEGER));
  }
  if (!batch.empty()) (void)tools_.commit(batch);
}

bool Collector::disk_is_full() {
  const std::int64_t now = tools_.clock.passed();
  const Settings& settings = tools_.settings;
  if (disk_looked_ != 0 && now - disk_looked_ < disk_every) return disk_use_ >= settings.disk_pause;
  disk_looked_ = now;
  const auto space = tools_.disk_space();
  if (space.capacity == 0) return false;
  const auto use = static_cast<std::uint32_t>(100 - space.available * 100 / space.capacity);
  if (use >= settings.disk_warning && disk_use_ < settings.disk_warning) {
    tools_.event(
        4, "the disk of collected data is nearly full",
        std::to_string(use) + " per cent are in use; collection pauses at " + std::to_string(settings.disk_pause));
  }
  disk_use_ = use;
  return disk_use_ >= settings.disk_pause;
}

}  // namespace ox::manager
