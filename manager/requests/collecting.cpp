// What the collector has of the manager.
#include "manager/requests/manager.h"

namespace ox::manager {

CollectorTools collector_tools(Manager& manager) {
  return {
      .loop = manager.loop,
      .clock = manager.clock,
      .zone = manager.zone,
      .settings = manager.settings,
      .scheduler = manager.scheduler,
      .store = manager.store,
      .directory = manager.directory,
      .entries = manager.entries,
      .series = manager.series,
      .asker = manager.asker,
      .figures = manager.figures,
      .commit = [&manager](std::span<const Change> batch) { return manager.commit(batch); },
      .keep = [&manager](std::span<const Change> batch) { return manager.components.commit(manager.store, batch); },
      .tell = [&manager](std::span<const Change> changes) { manager.subscriptions.changed(changes); },
      .remove = [&manager](const ComponentName& name,
                           std::function<void(OX_RESULT)> done) { remove_component(manager, name, done); },
      .event = [&manager](std::uint32_t type, const std::string& text,
                          const std::string& detail) { manager.events.tell(type, text, detail); },
      .disk_space = [&manager] { return manager.disk_space(); },
  };
}

}  // namespace ox::manager
