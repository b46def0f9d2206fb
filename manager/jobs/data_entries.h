// The data entries of log entries: made, closed, expired.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "manager/jobs/collector_tools.h"
#include "manager/jobs/log_collection.h"

namespace ox::manager {

class DataEntries {
 public:
  explicit DataEntries(const CollectorTools& tools) : tools_(tools) {}

  // Sees that an entry has a data entry for what is due then. False when the disk refuses one.
  [[nodiscard]] bool prepare(LogCollection& entry, std::uint32_t due);
  // Goes on with the data entry that was being filled when the manager ended, if there is one.
  void take_up(LogCollection& entry);
  // Nothing more is due in it; it is closed when its last round has ended.
  void leave(LogCollection& entry, std::uint32_t end);
  void round_ended(const std::shared_ptr<Filling>& filling);
  // Removes what is older than the entry wants it kept.
  void expire(const LogCollection& entry, std::uint32_t now);
  // Those that the entry has collected itself.
  [[nodiscard]] std::vector<ComponentName> own(const ComponentName& entry, const std::string& key) const;
  // Removes components one after the other, the first one when that one is gone.
  void remove(std::vector<ComponentName> names, const ComponentName& after);

 private:
  [[nodiscard]] bool make(LogCollection& entry, std::uint32_t due);
  [[nodiscard]] std::vector<Change> attributes(const LogCollection& entry, const ComponentName& name, std::uint32_t due,
                                               std::uint32_t number) const;
  void close(const Filling& filling);
  void remove_next();
  void wait_for(const ComponentName& name);

  const CollectorTools& tools_;
  std::uint32_t serial_ = 0;
  std::deque<ComponentName> to_remove_;
  bool removing_ = false;
};

}  // namespace ox::manager
