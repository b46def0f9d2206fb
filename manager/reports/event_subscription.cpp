#include "manager/reports/event_subscription.h"

#include <cstring>
#include <ctime>
#include <new>

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

EventSubscription::EventSubscription(Manager& manager, const Subscription& subscription, std::size_t attribute,
                                     Oid path)
    : EventReader(attributes[attribute].only_traps),
      manager_(manager),
      outbox_(manager.clients.outbox(subscription.session)),
      id_(subscription.id),
      session_(subscription.session),
      handle_(subscription.handle),
      attribute_(attribute),
      path_(std::move(path)) {
  manager_.events.add(*this, manager_.events.last());
}

EventSubscription::~EventSubscription() {
  manager_.events.remove(*this);
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
  switch (manager_.events.read(*this, manager_.settings.max_reports, event)) {
    case EventLog::Read::nothing:
      return {};
    case EventLog::Read::lost:
      manager_.clients.warn_of_loss(session_);
      report.error = reports_lost;
      break;
    case EventLog::Read::event:
      report.data = *data(*event);
      if (report.data.empty()) report.error = OX_EENCODEDLONG;
      break;
  }
  report.source_id = id_;
  report.report = ReportHeading{report_get, handle_, 0};
  return report;
}

// Made once for all who wait for the event.
std::shared_ptr<const Bytes> EventSubscription::data(const LoggedEvent& event) const {
  auto& made = event.report_data[attribute_];
  if (made) return made;
  const Bytes value = attributes[attribute_].encode(event);
  if (value.empty()) return made = std::make_shared<const Bytes>();
  NodeList nodes;
  NodePtr node = make_node();
  const auto size = static_cast<std::uint32_t>(value.size());
  void* const block = oxcMemZalloc(size + 1, "mgr_value");
  if (block == nullptr) throw std::bad_alloc();
  std::memcpy(block, value.data(), size);
  if (oxdSetRawValue(node.get(), OX_OCTETSTRING, size, block) != OX_OK) {
    (void)oxcMemFree(block);
    throw std::bad_alloc();
  }
  if (oxdSetCompType(node.get(), "system") != OX_OK || oxdSetCompName(node.get(), "system") != OX_OK ||
      oxdSetAmibName(node.get(), oid_text(path_).c_str()) != OX_OK ||
      oxdSetRspTime(node.get(), static_cast<std::uint32_t>(std::time(nullptr))) != OX_OK) {
    throw std::bad_alloc();
  }
  nodes.add(std::move(node));
  return made = std::make_shared<const Bytes>(std::move(node_reply(OX_OK, nodes).data));
}

}  // namespace ox::manager
