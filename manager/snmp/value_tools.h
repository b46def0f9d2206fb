// What reading and writing values need alike.
#pragma once

#include <asio/io_context.hpp>

#include "manager/base/job.h"
#include "manager/base/settings.h"
#include "manager/components/directory.h"
#include "manager/snmp/asker.h"
#include "manager/snmp/echoes.h"
#include "manager/snmp/engine.h"

namespace ox::manager {

struct ValueTools {
  asio::io_context& loop;
  const Settings& settings;
  const Directory& directory;
  const Store& store;
  SnmpEngine& snmp;
  Asker& asker;
  Echoes& echoes;
  JobsOfClients& jobs;
};

}  // namespace ox::manager
