// The wait for the tree of changed definition files, where processes hold the one before and its name goes with them.
#pragma once

#include <asio/steady_timer.hpp>
#include <string>
#include <vector>

#include "manager/requests/manager.h"

namespace ox::manager {

class TreeWait {
 public:
  // Names each client that opens, since it will hold the old tree, and puts the tree of these files in place as soon as
  // nobody does.
  TreeWait(Manager& manager, std::vector<std::string> files);

 private:
  void look_later();
  [[nodiscard]] bool replace();

  Manager& manager_;
  std::vector<std::string> files_;
  asio::steady_timer timer_;
};

}  // namespace ox::manager
