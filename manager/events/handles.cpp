#include "manager/events/handles.h"

#include <utility>

#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t most_of_session = 1000;

// The body is the text alone, up to its zero byte.
std::string text_of_body(std::span<const std::byte> body) {
  std::string text(reinterpret_cast<const char*>(body.data()), body.size());
  const std::size_t end = text.find('\0');
  return end == text.npos ? std::string() : text.substr(0, end);
}

}  // namespace

OX_RESULT EventHandles::open(std::uint32_t session, std::string sender, std::uint32_t& handle) {
  if (open_[session] >= most_of_session) return OX_ETOOMANY;
  do {
    ++last_;
  } while (last_ == 0 || handles_.contains(last_));
  handle = last_;
  handles_.emplace(handle, Handle{session, std::move(sender)});
  ++open_[session];
  return OX_OK;
}

const std::string* EventHandles::sender(std::uint32_t handle, std::uint32_t session) const {
  const auto found = handles_.find(handle);
  return found != handles_.end() && found->second.session == session ? &found->second.sender : nullptr;
}

bool EventHandles::close(std::uint32_t handle, std::uint32_t session) {
  if (sender(handle, session) == nullptr) return false;
  handles_.erase(handle);
  --open_[session];
  return true;
}

void EventHandles::end_session(std::uint32_t session) {
  if (open_.erase(session) == 0) return;
  std::erase_if(handles_, [&](const auto& entry) { return entry.second.session == session; });
}

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
  manager.events.submit(std::move(event), *sender, [reply = request.reply, handle](OX_RESULT error, const Bytes& body) {
    Reply answer = error_reply(error);
    answer.source_id = handle;
    answer.data = body;
    reply(std::move(answer));
  });
}

}  // namespace ox::manager
