// The programs that trap definitions name.
#pragma once

#include <string>
#include <vector>

#include "manager/events/record.h"
#include "platform/server/program.h"

namespace ox::manager {

class TrapActions {
 public:
  explicit TrapActions(std::size_t most) : most_(most) {}

  // Starts the program for an event, which it finds in its environment: what comes from the network must not be able to
  // become a part of a command. Says why not, when as many as allowed are running or it cannot be started.
  [[nodiscard]] std::string run(const std::string& action, const evmsg* event);

 private:
  std::size_t most_;
  std::vector<platform::Program> running_;
};

}  // namespace ox::manager
