// What the handlers of requests work on.
#pragma once

#include <asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>

#include "manager/base/access_rules.h"
#include "manager/base/clock.h"
#include "manager/base/fault_list.h"
#include "manager/base/job.h"
#include "manager/base/pace.h"
#include "manager/base/programs.h"
#include "manager/base/settings.h"
#include "manager/base/zone.h"
#include "manager/components/directory.h"
#include "manager/components/entry_changes.h"
#include "manager/components/file.h"
#include "manager/components/store.h"
#include "manager/components/vocabulary.h"
#include "manager/events/handles.h"
#include "manager/events/log.h"
#include "manager/jobs/collector.h"
#include "manager/jobs/commands.h"
#include "manager/jobs/run_ledger.h"
#include "manager/jobs/scheduler.h"
#include "manager/reports/persistent_waits.h"
#include "manager/reports/subscriptions.h"
#include "manager/requests/data_streams.h"
#include "manager/requests/figures.h"
#include "manager/requests/registrations.h"
#include "manager/requests/steps.h"
#include "manager/requests/upkeep.h"
#include "manager/series/collected.h"
#include "manager/series/store.h"
#include "manager/sessions/clients.h"
#include "manager/sessions/locks.h"
#include "manager/sessions/users.h"
#include "manager/snmp/asker.h"
#include "manager/snmp/engine.h"
#include "manager/snmp/value_reader.h"
#include "manager/snmp/value_writer.h"
#include "manager/traps/books.h"

namespace ox::manager {

struct Manager;
// What is to be had of collected values, and goes with the data entries.
void keep_collected(Manager& manager);
[[nodiscard]] CollectorTools collector_tools(Manager& manager);

struct Manager {
  Manager(asio::io_context& event_loop, const Settings& with, const std::string& data_directory)
      : loop(event_loop),
        settings(with),
        components(data_directory, with.durability),
        snmp(event_loop, with.snmp_in_flight),
        asker(event_loop, snmp, settings.snmp_bindings),
        collected_file(event_loop, data_directory, with.durability),
        collected(collected_file, {with.max_data, with.max_series, with.max_series_bytes}),
        series(collected_file),
        events(event_loop, settings, data_directory),
        clients(with.max_report_bytes, settings.user_bytes),
        directory(vocabulary, store),
        value_tools{loop, settings, directory, store, snmp, asker, echoes, jobs},
        reader(value_tools, figures),
        writer(value_tools, {.check = [this](Change& change, StoreGrowth& growth) { return check(change, growth); },
                             .commit = [this](std::span<const Change> batch) { return commit(batch); },
                             .written = [this](std::span<const Change> changes) { subscriptions.changed(changes); }}),
        subscriptions(loop, settings, vocabulary, directory, reader, events.readers(), clients),
        waits(loop, settings, vocabulary, events, clients),
        run_ledger(loop, clock, settings, data_directory),
        commands(
            {.scheduler = scheduler,
             .programs = programs,
             .store = store,
             .zone = zone,
             .settings = settings,
             .book = run_ledger,
             .warn = [this](const std::string& summary, const std::string& detail) { events.tell(3, summary, detail); },
             .commit = [this](std::span<const Change> batch) { return commit(batch); }}),
        upkeep(loop, data_directory),
        disk_space([data_directory] {
          std::error_code error;
          const auto space = std::filesystem::space(data_directory, error);
          return error ? std::filesystem::space_info{} : space;
        }),
        collector(collector_tools(*this)) {
    entries.keep("cmdEnt", {.changed = [this](const ComponentName& name, EntryChanges::What what,
                                              std::span<const Oid> paths) { commands.changed(name, what, paths); },
                            .check = [this](Change& change) { return commands.check(change); }});
    figures.add("cmdEnt", [this](const FigureQuestion& question, std::vector<Figure>& found) {
      commands.add_figures(question, found);
    });
    figures.add("system", [this](const FigureQuestion& question, std::vector<Figure>& found) {
      add_system_figures(trap_books, faults, question.component, found);
      collector.add_own_figures(question, found);
      add_client_figures(users, question.component, found);
      add_answer_figures(snmp.refused(), question.component, found);
      add_event_log_figures(events.store().shares(), question.component, found);
    });
    figures.add(
        "logEnt",
        [this](const FigureQuestion& question, std::vector<Figure>& found) { collector.fit().add(question, found); },
        [this](const FigureQuestion& question, std::function<void()> ready) {
          return collector.fit().wait(question, std::move(ready));
        });
    keep_collected(*this);
  }

  // Writes a batch of changes, and reports them to those who watch. 0, or 144 with the store as it was.
  [[nodiscard]] OX_RESULT commit(std::span<const Change> batch) {
    if (const OX_RESULT result = components.commit(store, batch)) return result;
    subscriptions.changed(batch);
    entries.changed(batch);
    return OX_OK;
  }

  // The component of an event, by its type's own name, as roles know it.
  [[nodiscard]] ComponentName component_of(const evmsg* event) const {
    ComponentName component = ox::manager::component_of(event);
    if (!component.type.empty()) component.type = vocabulary.canonical_type(component.type);
    return component;
  }
  // Whether a user may read an event.
  [[nodiscard]] bool may_read(const Rights& rights, const evmsg* event) const {
    return rights.may_all(Role::read) || rights.may(Role::read, component_of(event));
  }

  // Whether the store may grow by a client's change, behind those of his list before it, which it is then one of: 0;
  // 85, 266. What makes it no larger may always be done.
  [[nodiscard]] OX_RESULT check_room(const Change& change, StoreGrowth& growth) const {
    const Store::Size before = growth.size();
    const Store::Size after = growth.with(change);
    if (after.count > before.count && after.count > settings.max_values) return OX_ETOOMANY;
    if (after.bytes > before.bytes && after.bytes > settings.max_value_bytes) return OX_EENCODEDLONG;
    growth.add(change);
    return OX_OK;
  }
  [[nodiscard]] OX_RESULT check(Change& change, StoreGrowth& growth) {
    const OX_RESULT result = entries.check(change);
    return result == OX_OK ? check_room(change, growth) : result;
  }

  // Takes away what a client had.
  void end_session(std::uint32_t session) {
    held.end_session(session);
    jobs.end_session(session);
    locks.end_session(session);
    registrations.end_session(session);
    event_handles.end_session(session);
    subscriptions.end_session(session);
    streams.end_session(session);
    waits.end_session(session);
    clients.end_session(session);
  }

  asio::io_context& loop;
  Settings settings;
  SystemClock clock{loop};
  Zone zone{installation_zone()};
  Scheduler scheduler{clock};
  Programs programs{clock};
  Vocabulary vocabulary;
  Store store;
  EntryChanges entries;
  ComponentFile components;
  Pace pace;  // of the work on them
  HeldRequests held;
  AccessRules access;
  Users users{[this](const std::shared_ptr<User>& user) { waits.count_for(user); }};
  Registrations registrations;
  Locks locks;
  SnmpEngine snmp;
  Asker asker;
  Echoes echoes{loop};
  CollectedFile collected_file;
  Collected collected;
  SeriesStore series;
  EventHandles event_handles;
  EventLog events;
  Clients clients;
  JobsOfClients jobs;
  Directory directory;
  ValueTools value_tools;
  FigureSources figures;
  ValueReader reader;
  ValueWriter writer;
  Subscriptions subscriptions;
  DataStreams streams{series, clients};
  PersistentWaits waits;
  RunLedger run_ledger;
  Commands commands;
  Upkeep upkeep;
  TrapBooks trap_books;
  FaultList faults;
  std::function<std::filesystem::space_info()> disk_space;
  Collector collector;
};

}  // namespace ox::manager
