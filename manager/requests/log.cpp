// The requests about the event log, and the cancelling of events.
#include <new>

#include "manager/events/search.h"
#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t checked_flag = 0x1;

// What is to be done to an event of the log, given the event that the request names it by.
using Change = void (*)(Manager&, StoredEvent event, const evmsg* given);

void set_flag(Manager& manager, StoredEvent event, bool on) {
  EventPtr decoded;
  if (decode_events(event.body, decoded) != OX_OK) return;
  const std::uint32_t flag = number_of(decoded.get(), &oxeEvmsgGetFlag);
  if (oxeEvmsgSetFlag(decoded.get(), on ? flag | checked_flag : flag & ~checked_flag) != OX_OK) throw std::bad_alloc();
  event.body = encode_event(decoded.get());
  manager.events.replace(event);
}

void check(Manager& manager, StoredEvent event, const evmsg*) { set_flag(manager, std::move(event), true); }
void uncheck(Manager& manager, StoredEvent event, const evmsg*) { set_flag(manager, std::move(event), false); }
void remove(Manager& manager, StoredEvent event, const evmsg*) { manager.events.unlist(std::move(event)); }
void modify(Manager& manager, StoredEvent event, const evmsg* given) {
  event.body = encode_event(given);
  manager.events.replace(event);
}

// The logged event of a send identifier: 0; 122 when there is none; 261 when it does not read.
OX_RESULT find_listed(Manager& manager, const evmsg* given, std::optional<StoredEvent>& event) {
  const auto sequence = manager.events.sequence_of(number_of(given, &oxeEvmsgGetSndId));
  if (!sequence) return OX_ENOTFOUND;
  if (manager.events.store().get(*sequence, event) != Outcome::done) return OX_ERUNTIME;
  return event && event->listed ? OX_OK : OX_ENOTFOUND;
}

void answer_when_safe(Manager& manager, const Request& request) {
  manager.events.when_safe([reply = request.reply](bool safe) { reply(error_reply(safe ? OX_OK : OX_EWRITE)); });
}

// Events that are not there any more are passed over: two people may clear the log at once.
void change_log(Manager& manager, const Request& request, Change change) {
  EventPtr list;
  if (const OX_RESULT result = decode_events(request.message.data, list)) return request.reply(error_reply(result));
  for (const evmsg* event = list.get(); event != nullptr; event = oxeEvmsgNext(event)) {
    std::uint32_t id = 0;
    if (oxeEvmsgGetSndId(event, &id) != OX_OK) return request.reply(error_reply(OX_EABSENT));
  }
  manager.events.flush();
  OX_RESULT result = OX_ENOTFOUND;
  for (const evmsg* event = list.get(); event != nullptr; event = oxeEvmsgNext(event)) {
    std::optional<StoredEvent> logged;
    const OX_RESULT found = find_listed(manager, event, logged);
    if (found == OX_OK) change(manager, std::move(*logged), event);
    if (found != OX_ENOTFOUND && result != OX_ERUNTIME) result = found;
  }
  if (result != OX_OK) return request.reply(error_reply(result));
  answer_when_safe(manager, request);
}

}  // namespace

void handle_log_get(Manager& manager, const Request& request) {
  const auto answer = [reply = request.reply](OX_RESULT result, Bytes events, std::shared_ptr<ByteSource> rest) {
    reply({.error = result, .data = std::move(events), .rest = std::move(rest)});
  };
  const LogQuestion question{request.session, request.message.data,
                             std::chrono::seconds(manager.settings.event_log_timeout)};
  const OX_RESULT result = search_log(manager.loop, manager.events, manager.jobs, question, answer);
  if (result != OX_OK) request.reply(error_reply(result));
}

void handle_log_check(Manager& manager, const Request& request) { change_log(manager, request, &check); }
void handle_log_uncheck(Manager& manager, const Request& request) { change_log(manager, request, &uncheck); }
void handle_log_delete(Manager& manager, const Request& request) { change_log(manager, request, &remove); }
void handle_log_modify(Manager& manager, const Request& request) { change_log(manager, request, &modify); }

// Takes back an event: out of the log, and away from the waits that have not had it. It is named by its send
// identifier.
void handle_event_cancel(Manager& manager, const Request& request) {
  if (manager.event_handles.sender(request.message.destination_id, request.session) == nullptr) {
    return request.reply(error_reply(OX_EUNSUPPORTED));
  }
  EventPtr given;
  if (const OX_RESULT result = decode_events(request.message.data, given)) return request.reply(error_reply(result));
  std::uint32_t id = 0;
  if (oxeEvmsgGetSndId(given.get(), &id) != OX_OK) return request.reply(error_reply(OX_EABSENT));
  manager.events.flush();
  std::optional<StoredEvent> event;
  if (const OX_RESULT result = find_listed(manager, given.get(), event)) return request.reply(error_reply(result));
  manager.events.withdraw(event->sequence);
  answer_when_safe(manager, request);
}

}  // namespace ox::manager
