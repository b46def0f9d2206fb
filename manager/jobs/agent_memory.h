// What is learned of agents outlives the manager.
#pragma once

#include <memory>
#include <vector>

#include "manager/base/pace.h"
#include "manager/jobs/collector_tools.h"
#include "manager/jobs/log_collection.h"

namespace ox::manager {

class AgentMemory {
 public:
  explicit AgentMemory(const CollectorTools& tools) : tools_(tools) {}

  // Keeps with these components what has been learned of their agents since, in steps.
  void keep(std::vector<std::shared_ptr<LogTarget>> targets);

 private:
  void go_on();
  void look_at(const ComponentName& name, std::vector<Change>& batch) const;

  const CollectorTools& tools_;
  std::vector<std::shared_ptr<LogTarget>> left_;
  Pace pace_;
};

}  // namespace ox::manager
