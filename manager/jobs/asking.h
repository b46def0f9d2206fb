// One component's values of one round, from its agent into the store.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "manager/jobs/collected_names.h"
#include "manager/jobs/filling.h"
#include "manager/jobs/target.h"
#include "manager/snmp/asker.h"

namespace ox::manager {

class Asking final : public ValueReceiver, public std::enable_shared_from_this<Asking> {
 public:
  struct Place {
    SeriesStore& series;
    std::shared_ptr<const CollectedNames> names;
    std::shared_ptr<Round> round;
    std::shared_ptr<LogTarget> target;
  };
  using Failed = std::function<void(LogTarget& target, const Oid& path, OX_RESULT code)>;

  Asking(Place place, Failed failed, std::function<void()> ended)
      : place_(std::move(place)), failed_(std::move(failed)), ended_(std::move(ended)) {}

  // The target is busy until the end.
  void start(Asker& asker, const Agent& agent);
  // For every value that is expected of the target: there is none.
  static void gap_all(const Place& place, LogTarget& target, Gap gap, std::uint32_t code);

  void reading(const Reading& reading) override;
  bool take(std::size_t slot, NodePtr node) override;
  bool refuse(std::size_t slot, const Oid& path, OX_RESULT code) override;
  void done(const std::vector<std::size_t>& slots, OX_RESULT why) override;

 private:
  struct Reason {
    Gap gap = Gap::none;
    std::uint32_t code = 0;
  };
  [[nodiscard]] Reason reason_of(OX_RESULT code) const;
  void put(std::uint32_t series, const dnode* node, const Oid* path);
  void take_row(std::size_t column, const dnode* node);
  void end_column(std::size_t column);
  void gap(std::uint32_t series, const Reason& reason);

  const Place place_;
  Failed failed_;
  std::function<void()> ended_;
  std::uint32_t left_ = 0;  // operations
  Reading reading_{};
  std::optional<std::uint32_t> number_{};  // of the reading in the store
  std::vector<std::size_t> at_{};          // in each column's rows
  std::vector<Reason> ended_columns_{};    // why they ended, if not in order
};

}  // namespace ox::manager
