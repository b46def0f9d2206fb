// What a daemon offers to every account of the machine, where named objects are an account's own (Linux): copies of
// blocks, which others map for reading, and marks, of which it is asked whether they exist. Only the account of the
// installation can put anything there. Where names are the machine's own there is nothing to do.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/error.h"

namespace ox::platform {

class MachineObjects {
 public:
  MachineObjects() = default;
  ~MachineObjects();  // takes everything away again; who has mapped it keeps it
  MachineObjects(const MachineObjects&) = delete;
  MachineObjects& operator=(const MachineObjects&) = delete;

  // Offers those of the blocks that there are. What an earlier daemon left is kept where it is equal, and else replaced
  // in one step; under the name of one that is not there it is taken away. The first block leads to the others: it is
  // there only while all of them are.
  [[nodiscard]] Error offer_blocks(const std::vector<std::string>& names);
  // Offers the existence of an event or a mutex, while this process lives.
  [[nodiscard]] Error offer_event(const char* name);
  [[nodiscard]] Error offer_mutex(const char* name);

 private:
  std::vector<std::string> files_;
  std::vector<std::intptr_t> held_;  // the marks: they go with the process, however it ends
};

}  // namespace ox::platform
