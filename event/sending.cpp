// Event handles: events sent to the manager and taken back, and the manager's event log.
#include <cstring>
#include <utility>

#include "access/session.h"
#include "common/trace.h"
#include "event/event_request.h"
#include "event/evflt.h"
#include "event/evmsg.h"

namespace ox::event {
namespace {

struct EncodedBytes {
  tracked_ptr<unsigned char[]> bytes;
  std::uint32_t size = 0;

  [[nodiscard]] OX_RESULT encode(const evmsg* list, bool first_only) {
    void* block = nullptr;
    const OX_RESULT result = oxeEvmsgEncode(list, &block, &size, first_only ? 1 : 0);
    bytes.reset(static_cast<unsigned char*>(block));
    return result;
  }
  [[nodiscard]] OX_RESULT encode_some(const evmsg*& list, std::uint32_t most) {
    void* block = nullptr;
    const OX_RESULT result = event::encode_some(list, most, &block, &size);
    bytes.reset(static_cast<unsigned char*>(block));
    return result;
  }
  [[nodiscard]] OX_RESULT encode(const evflt& filter) {
    void* block = nullptr;
    const OX_RESULT result = oxeEvfltEncode(&filter, &block, &size);
    bytes.reset(static_cast<unsigned char*>(block));
    return result;
  }
  [[nodiscard]] PayloadPart part() const noexcept { return PayloadPart::bytes(bytes.get(), size); }
};

// The manager's word for a bad event handle means something else to callers.
OX_RESULT log_request(const RequestHeader& header, std::initializer_list<PayloadPart> body, MessagePtr& reply) {
  const OX_RESULT result = request(header, body, reply);
  const bool replied = reply != nullptr;
  return replied && result == OX_EUNSUPPORTED ? OX_RESULT{OX_EEVENT} : result;
}

// The events that a reply carries. 1 when there are none.
OX_RESULT events_of(const Message& reply, evmsg_ptr& list) {
  if (reply.data_length == 0) return OX_EARG;
  evmsg* events = nullptr;
  const OX_RESULT result = oxeEvmsgDecode(reply.data, reply.data_length, &events);
  list.reset(events);
  return result;
}

OX_RESULT open(const char* session_name, const char* sender, std::uint32_t* handle) {
  if (const OX_RESULT result = session().check()) return result;
  if (sender == nullptr || handle == nullptr) return OX_EARG;
  MessagePtr reply;
  const OX_RESULT result = log_request({.command = command_event_open, .manager = session_name},
                                       {PayloadPart::bytes(sender, std::strlen(sender) + 1)}, reply);
  if (result == OX_OK) *handle = reply->source_id;
  return result;
}

OX_RESULT close(std::uint32_t handle) {
  MessagePtr reply;
  return log_request({.command = command_event_close, .destination_id = handle}, {}, reply);
}

// What the manager has completed. File and IPX address of an event stay what the sender gave.
OX_RESULT complete(const evmsg& from, evmsg& to) noexcept {
  constexpr std::uint32_t kept = fields::msg_file.bit | fields::snmp_src_ipx_addr.bit;
  OX_RESULT result = OX_OK;
  (void)every_field([&](const auto& field) {
    if (from.has(field.bit & ~kept)) result = assign(to, field, field::view(from.*field.member));
    return result == OX_OK;
  });
  return result;
}

OX_RESULT send(std::uint32_t handle, evmsg* event) {
  if (event == nullptr) return OX_EARG;
  EncodedBytes body;
  if (const OX_RESULT result = body.encode(event, true)) return result;
  MessagePtr reply;
  OX_RESULT result = log_request({.command = command_event_send, .destination_id = handle}, {body.part()}, reply);
  evmsg_ptr completed;
  if (result == OX_OK) result = events_of(*reply, completed);
  return result != OX_OK ? result : complete(*completed, *event);
}

OX_RESULT cancel(std::uint32_t handle, const evmsg* event) {
  if (event == nullptr) return OX_EARG;
  EncodedBytes body;
  if (const OX_RESULT result = body.encode(event, true)) return result;
  MessagePtr reply;
  return log_request({.command = command_event_cancel, .destination_id = handle}, {body.part()}, reply);
}

OX_RESULT get_log(const char* session_name, const evflt* filter, evmsg** list) {
  if (list == nullptr) return OX_EARG;
  constexpr evflt no_criteria{};
  EncodedBytes body;
  if (const OX_RESULT result = body.encode(filter != nullptr ? *filter : no_criteria)) return result;
  MessagePtr reply;
  OX_RESULT result = log_request({.command = command_log_get, .manager = session_name}, {body.part()}, reply);
  evmsg_ptr events;
  if (result == OX_OK) result = events_of(*reply, events);
  if (result == OX_OK) *list = events.release();
  return result;
}

OX_RESULT send_log(std::uint32_t code, const char* session_name, const EncodedBytes& body) {
  MessagePtr reply;
  return log_request({.command = code, .manager = session_name}, {body.part()}, reply);
}

OX_RESULT replace_log(std::uint32_t code, const char* session_name, std::uint32_t mode, const evmsg* list) {
  if (list == nullptr) return OX_EARG;
  EncodedBytes body;
  if (const OX_RESULT result = body.encode(list, mode == 1)) return result;
  return send_log(code, session_name, body);
}

// A list that is too long for one request of the session goes in several: each event is marked for itself.
OX_RESULT mark_log(std::uint32_t code, const char* session_name, std::uint32_t mode, const evmsg* list) {
  if (mode == 1 || list == nullptr) return replace_log(code, session_name, mode, list);
  if (const OX_RESULT failure = session().check()) return failure;
  const std::uint32_t most = session().payload_limit();
  OX_RESULT result = OX_OK;
  for (const evmsg* rest = list; rest != nullptr && result == OX_OK;) {
    EncodedBytes body;
    result = body.encode_some(rest, most);
    if (result == OX_OK) result = send_log(code, session_name, body);
  }
  return result;
}

}  // namespace
}  // namespace ox::event

using namespace ox;

OX_RESULT OX_CALL oxeEventOpen(const char* session, const char* senderName, uint32_t* handle) {
  OX_TRACE(trace::messages, "<S:oxeEventOpen(%s,%s,%x)>\n", trace::text(session), trace::text(senderName),
           trace::word(handle));
  return traced_as(trace::messages, "<E:oxeEventOpen[%d]>\n", [&] { return event::open(session, senderName, handle); });
}

OX_RESULT OX_CALL oxeEventClose(uint32_t handle) {
  OX_TRACE(trace::messages, "<S:oxeEventClose(%x)>\n", handle);
  return traced_as(trace::messages, "<E:oxeEventClose[%d]>\n", [&] { return event::close(handle); });
}

OX_RESULT OX_CALL oxeEventSend(uint32_t handle, evmsg* event) {
  OX_TRACE(trace::messages, "<S:oxeEventSend(%x,%x)>\n", handle, trace::word(event));
  return traced_as(trace::messages, "<E:oxeEventSend[%d]>\n", [&] { return event::send(handle, event); });
}

OX_RESULT OX_CALL oxeEventCancel(uint32_t handle, const evmsg* event) {
  OX_TRACE(trace::messages, "<S:oxeEventCancel(%x,%x)>\n", handle, trace::word(event));
  return traced_as(trace::messages, "<E:oxeEventCancel[%d]>\n", [&] { return event::cancel(handle, event); });
}

OX_RESULT OX_CALL oxeEvlogGet(const char* session, const evflt* filter, evmsg** list) {
  OX_TRACE(trace::messages, "<S:oxeEvlogGet(%s,%x,%x)>\n", trace::text(session), trace::word(filter),
           trace::word(list));
  return traced_as(trace::messages, "<E:oxeEvlogGet[%d]>\n", [&] { return event::get_log(session, filter, list); });
}

#define OX_LOG_CHANGE(Stem, change, code)                                                                        \
  OX_RESULT OX_CALL oxeEvlog##Stem(const char* session, uint32_t mode, const evmsg* list) {                      \
    OX_TRACE(trace::messages, "<S:oxeEvlog" #Stem "(%s,%d,%x)>\n", trace::text(session), static_cast<int>(mode), \
             trace::word(list));                                                                                 \
    return traced_as(trace::messages, "<E:oxeEvlog" #Stem "[%d]>\n",                                             \
                     [&] { return event::change(code, session, mode, list); });                                  \
  }
OX_LOG_CHANGE(Check, mark_log, command_log_check)
OX_LOG_CHANGE(Uncheck, mark_log, command_log_uncheck)
OX_LOG_CHANGE(Delete, mark_log, command_log_delete)
OX_LOG_CHANGE(Modify, replace_log, command_log_modify)
#undef OX_LOG_CHANGE
