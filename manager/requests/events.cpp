// Sending events.
#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

// The body is the text alone, up to its zero byte.
std::string text_of_body(std::span<const std::byte> body) {
  std::string text(reinterpret_cast<const char*>(body.data()), body.size());
  const std::size_t end = text.find('\0');
  return end == text.npos ? std::string() : text.substr(0, end);
}

}  // namespace

void handle_event_open(Manager& manager, const Request& request) {
  Reply reply;
  reply.error = manager.event_handles.open(request.session, text_of_body(request.message.data), reply.source_id);
  request.reply(std::move(reply));
}

void handle_event_close(Manager& manager, const Request& request) {
  const bool closed = manager.event_handles.close(request.message.destination_id, request.session);
  request.reply(error_reply(closed ? OX_OK : OX_EUNSUPPORTED));
}

void handle_event_send(Manager& manager, const Request& request) {
  const std::uint32_t handle = request.message.destination_id;
  const std::string* const sender = manager.event_handles.sender(handle, request.session);
  if (sender == nullptr) return request.reply(error_reply(OX_EUNSUPPORTED));
  EventPtr event;
  if (const OX_RESULT result = decode_events(request.message.data, event)) return request.reply(error_reply(result));
  if (!request.rights->may_all(Role::operate)) {
    const ComponentName component = manager.component_of(event.get());
    if (!request.rights->allow(Role::operate, component, "an event of")) return request.reply(error_reply(OX_EDENIED));
  }
  const Origin origin = origin_of(EventKind::sent, std::as_bytes(std::span(request.rights->user().name())));
  const auto done = [reply = request.reply, handle](OX_RESULT error, const Bytes& body) {
    Reply answer = error_reply(error);
    answer.source_id = handle;
    answer.data = body;
    reply(std::move(answer));
  };
  manager.events.submit(std::move(event), *sender, origin, done);
}

}  // namespace ox::manager
