// What collecting works with.
#pragma once

#include <asio/io_context.hpp>
#include <filesystem>
#include <functional>
#include <span>
#include <string>

#include "manager/base/clock.h"
#include "manager/base/settings.h"
#include "manager/base/zone.h"
#include "manager/components/directory.h"
#include "manager/components/entry_changes.h"
#include "manager/components/store.h"
#include "manager/jobs/scheduler.h"
#include "manager/series/store.h"
#include "manager/snmp/asker.h"
#include "manager/snmp/value_reader.h"

namespace ox::manager {

struct CollectorTools {
  asio::io_context& loop;
  Clock& clock;
  const Zone& zone;
  const Settings& settings;
  Scheduler& scheduler;
  Store& store;
  const Directory& directory;
  EntryChanges& entries;
  SeriesStore& series;
  Asker& asker;
  FigureSources& figures;
  // Writes a batch of changes, and tells those who watch. 0, 144.
  std::function<OX_RESULT(std::span<const Change>)> commit;
  // Writes it without a word: what is the manager's own, and no attribute.
  std::function<OX_RESULT(std::span<const Change>)> keep;
  // Tells those who watch of what is kept nowhere.
  std::function<void(std::span<const Change>)> tell;
  // Removes a component in steps.
  std::function<void(const ComponentName&, std::function<void(OX_RESULT)>)> remove;
  // An event of that type, with its detail.
  std::function<void(std::uint32_t type, const std::string& text, const std::string& detail)> event;
  // Of the disk of collected data; a capacity of 0 when that is not known.
  std::function<std::filesystem::space_info()> disk_space{};
};

}  // namespace ox::manager
