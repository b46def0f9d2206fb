// Whether what a log entry wants can be had: its agents are asked once, whether it runs or not, and the rest is
// reckoned.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "manager/jobs/collector_tools.h"
#include "manager/jobs/log_collection.h"

namespace ox::manager {

class Fit {
 public:
  explicit Fit(const CollectorTools& tools) : tools_(tools) {}

  // Has the agents of an entry asked, when its figures are wanted by name, and calls when all have answered, or none of
  // their attempts. False when there is nothing to wait for: it fitted within the last minute, or cannot be read.
  [[nodiscard]] bool wait(const FigureQuestion& question, std::function<void()> ready);
  // The entry's figures as far as they are known.
  void add(const FigureQuestion& question, std::vector<Figure>& found) const;

 private:
  struct Look;
  class Probe;

  [[nodiscard]] std::shared_ptr<Look> start(const ComponentName& name);
  void ask_on(const std::shared_ptr<Look>& look);
  void go_on(const std::shared_ptr<Look>& look);
  [[nodiscard]] std::uint64_t days_until_full(const Look& look) const;

  const CollectorTools& tools_;
  std::map<ComponentName, std::shared_ptr<Look>> looks_;
};

}  // namespace ox::manager
