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

  // The entry's figures as far as they are known, when they are wanted by name; the agents are asked then, if that was
  // not done within the last minute.
  void add_figures(const FigureQuestion& question, std::vector<Figure>& found);

 private:
  struct Look;
  class Probe;

  [[nodiscard]] std::shared_ptr<Look> start(const ComponentName& name);
  void ask_on(const std::shared_ptr<Look>& look);
  [[nodiscard]] std::uint64_t days_until_full(const Look& look) const;

  const CollectorTools& tools_;
  std::map<ComponentName, std::shared_ptr<Look>> looks_;
};

}  // namespace ox::manager
