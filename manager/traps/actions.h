// The programs that trap definitions name.
#pragma once

#include <memory>
#include <string>

#include "manager/base/programs.h"
#include "manager/events/record.h"

namespace ox::manager {

class TrapActions {
 public:
  TrapActions(Programs& programs, std::size_t most) : programs_(programs), most_(most) {}

  // Starts the program for an event, which it finds in its environment: what comes from the network must not be able to
  // become a part of a command. Says why not, when as many as allowed are running or it cannot be started.
  [[nodiscard]] std::string run(const std::string& action, const evmsg* event);

 private:
  Programs& programs_;
  std::size_t most_;
  std::shared_ptr<std::size_t> running_ = std::make_shared<std::size_t>(0);
};

}  // namespace ox::manager
