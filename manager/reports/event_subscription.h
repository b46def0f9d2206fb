// Events as values that change: what an asynchronous get of one of the message attributes reports.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "manager/base/oid.h"
#include "manager/base/settings.h"
#include "manager/events/readers.h"
#include "manager/reports/event_sight.h"
#include "manager/sessions/clients.h"

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
  // Who asked, and by which names.
  struct Client {
    std::uint32_t id = 0;
    std::uint32_t session = 0;
    std::uint32_t handle = 0;
    EventSight sight{};
  };
  // `attribute` is an index of event_attributes(), `path` its path.
  EventSubscription(EventReaders& events, const Settings& settings, Clients& clients, const Client& client,
                    std::size_t attribute, Oid path);
  ~EventSubscription() override;
  EventSubscription(const EventSubscription&) = delete;
  EventSubscription& operator=(const EventSubscription&) = delete;

  std::optional<Reply> next_report() override;
  void wake() override;
  [[nodiscard]] bool wants(const LoggedEvent& event) const override {
    return EventReader::wants(event) && client_.sight.sees(event);
  }

 private:
  std::optional<Reply> read_report();
  [[nodiscard]] std::shared_ptr<const Bytes> data(const LoggedEvent& event) const;

  EventReaders& events_;
  const Settings& settings_;
  Clients& clients_;
  Outbox& outbox_;
  Client client_;
  std::size_t attribute_;
  Oid path_;
};

}  // namespace ox::manager
