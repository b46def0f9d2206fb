// What the handlers of requests work on.
#pragma once

#include <asio/io_context.hpp>
#include <string>

#include "manager/collected.h"
#include "manager/journal.h"
#include "manager/locks.h"
#include "manager/settings.h"
#include "manager/snmp_engine.h"
#include "manager/store.h"
#include "manager/vocabulary.h"

namespace ox::manager {

struct Manager {
  Manager(asio::io_context& event_loop, const Settings& with, const std::string& data_directory)
      : loop(event_loop),
        settings(with),
        journal(data_directory),
        snmp(event_loop, with.snmp_in_flight),
        collected(data_directory, with.max_data) {}

  // The component of that name, its type put in the canonical form: 197 for an unknown type, 84 for an unknown one.
  [[nodiscard]] OX_RESULT find(ComponentName& name) const {
    name.type = Vocabulary::canonical_type(name.type);
    if (!vocabulary.has_type(name.type)) return OX_ENOTYPE;
    return store.has(name) ? OX_OK : OX_ENOCOMP;
  }

  asio::io_context& loop;
  Settings settings;
  Vocabulary vocabulary;
  Store store;
  Journal journal;
  Locks locks;
  SnmpEngine snmp;
  Collected collected;
};

}  // namespace ox::manager
