// Events as values that change: what an asynchronous get of one of the message attributes reports.
#pragma once

#include "manager/reports/subscriptions.h"
#include "manager/requests/manager.h"

namespace ox::manager {

// The attributes whose values are events as they occur.
struct EventAttribute {
  const char* name;
  bool only_traps;
  Bytes (*encode)(const LoggedEvent& event);  // no bytes: the attribute's encoding cannot hold the event
};
[[nodiscard]] std::span<const EventAttribute> event_attributes();

class EventSubscription final : public ReportSource, public EventReader {
 public:
  // `attribute` is an index of event_attributes(), `path` its path.
  EventSubscription(Manager& manager, const Subscription& subscription, std::size_t attribute, Oid path);
  ~EventSubscription() override;
  EventSubscription(const EventSubscription&) = delete;
  EventSubscription& operator=(const EventSubscription&) = delete;

  std::optional<Reply> next_report() override;
  void wake() override;

 private:
  std::optional<Reply> read_report();
  [[nodiscard]] std::shared_ptr<const Bytes> data(const LoggedEvent& event) const;

  Manager& manager_;
  Outbox& outbox_;
  std::uint32_t id_;
  std::uint32_t session_;
  std::uint32_t handle_;
  std::size_t attribute_;
  Oid path_;
};

}  // namespace ox::manager
