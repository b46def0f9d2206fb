// The wait for the tree of changed definition files, where processes hold the one before and its name goes with them.
#pragma once

#include <asio/steady_timer.hpp>
#include <string>
#include <vector>

#include "manager/base/fault_list.h"
#include "manager/sessions/clients.h"

namespace ox::manager {

class TreeWait {
 public:
  // Names each client that opens, since it will hold the old tree, and puts the tree of these files in place as soon as
  // nobody does.
  TreeWait(asio::io_context& loop, Clients& clients, FaultList& faults, std::vector<std::string> files);

 private:
  void look_later();
  [[nodiscard]] bool replace();

  Clients& clients_;
  std::vector<std::string> files_;
  asio::steady_timer timer_;
};

}  // namespace ox::manager
