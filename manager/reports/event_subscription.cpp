#include "manager/reports/event_subscription.h"

#include <array>
#include <new>
#include <string>

#include "common/protocol.h"
#include "manager/components/stored_value.h"
#include "manager/events/record.h"

namespace ox::manager {
namespace {

Bytes as_logged(const LoggedEvent& event) { return event.body; }

Bytes in_older_encoding(const LoggedEvent& event) {
  EventPtr decoded;
  return decode_events(event.body, decoded) == OX_OK ? encode_event_r21(decoded.get()) : Bytes();
}

constexpr std::array attributes{
    EventAttribute{"sysmib.oxMessage.oxEventMessage2.0", false, &as_logged},
    EventAttribute{"sysmib.oxMessage.oxTrapMessage.0", true, &as_logged},
    EventAttribute{"sysmib.oxMessage.oxEventMessage.0", false, &in_older_encoding},
};
static_assert(attributes.size() == std::tuple_size_v<decltype(LoggedEvent::report_data)>);

}  // namespace

std::span<const EventAttribute> event_attributes() { return attributes; }

EventSubscription::EventSubscription(EventReaders& events, const Settings& settings, Clients& clients,
                                     const Client& client, std::size_t attribute, Oid path)
    : EventReader(attributes[attribute].only_traps),
      events_(events),
      settings_(settings),
      clients_(clients),
      outbox_(clients.outbox(client.session)),
      client_(client),
      attribute_(attribute),
      path_(std::move(path)) {
  events_.add(*this, events_.last());
}

EventSubscription::~EventSubscription() {
  events_.remove(*this);
  outbox_.leave(*this);
}

void EventSubscription::wake() { outbox_.ready(*this); }

std::optional<Reply> EventSubscription::next_report() {
  const Sequence before = place;
  try {
    return read_report();
  } catch (const std::bad_alloc&) {
    place = before;
    page.clear();
    throw;
  }
}

std::optional<Reply> EventSubscription::read_report() {
  EventRef event;
  Reply report;
  switch (events_.read(*this, settings_.max_reports, event)) {
    case EventReaders::Read::nothing:
      return {};
    case EventReaders::Read::lost:
      clients_.warn_of_loss(client_.session);
      report.error = reports_lost;
      break;
    case EventReaders::Read::event:
      report.data = *data(*event);
      if (report.data.empty()) report.error = OX_EENCODEDLONG;
      break;
  }
  report.source_id = client_.id;
  report.report = ReportHeading{command_asy_get, client_.handle, 0};
  return report;
}

// Made once for all who wait for the event.
std::shared_ptr<const Bytes> EventSubscription::data(const LoggedEvent& event) const {
  auto& made = event.report_data[attribute_];
  if (made) return made;
  const Bytes value = attributes[attribute_].encode(event);
  if (value.empty()) return made = std::make_shared<const Bytes>();
  NodeList nodes;
  const std::string bytes(reinterpret_cast<const char*>(value.data()), value.size());
  NodePtr node = told_node({"system", "system"}, path_, {OX_OCTETSTRING, bytes});
  nodes.add(std::move(node));
  return made = std::make_shared<const Bytes>(std::move(node_reply(OX_OK, nodes).data));
}

}  // namespace ox::manager
