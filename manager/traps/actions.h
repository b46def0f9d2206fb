// The programs that trap definitions name.
#pragma once

#include <memory>
#include <string>

#include "manager/base/programs.h"
#include "manager/base/settings.h"
#include "manager/events/record.h"

namespace ox::manager {

class TrapActions {
 public:
  TrapActions(Programs& programs, const Settings& settings)
      : programs_(programs), settings_(settings), most_(settings.trap_actions) {}

  // Starts the program for an event, which it finds in its environment: what comes from the network must not be able to
  // become a part of a command. After ActionTimeout it is killed, with all that it has started. Says why not, when as
  // many as allowed are running or it cannot be started.
  [[nodiscard]] std::string run(const std::string& action, const evmsg* event);

 private:
  Programs& programs_;
  const Settings& settings_;
  std::size_t most_;
  std::shared_ptr<std::size_t> running_ = std::make_shared<std::size_t>(0);
};

}  // namespace ox::manager
