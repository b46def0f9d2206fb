// The requests about asynchronous gets and sets, and the fetch of reports.
#include "common/protocol.h"
#include "manager/reports/event_subscription.h"
#include "manager/requests/collected_values.h"
#include "manager/requests/handlers.h"
#include "manager/requests/values.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t only_news = 64;  // option: of what a data entry has collected, the stream of it

Reply next_report(Manager& manager, std::uint32_t session) {
  auto report = manager.clients.outbox(session).fetch();
  return report ? std::move(*report) : Reply{.data = {}, .type = type_nothing_waits};
}

// What was answered must be safe before the next delivery goes out: a manager that dies between the two would else
// deliver again what a client has taken.
void answer_delivery(Manager& manager, const Request& request, bool taken) {
  manager.waits.answer(request.session, request.message.reference, taken);
  manager.events.when_safe([&manager, session = request.session, reply = request.reply](bool) {
    if (!manager.clients.has(session)) return;
    try {
      reply(next_report(manager, session));
    } catch (const std::bad_alloc&) {
      reply(error_reply(OX_ENOMEM));
    }
  });
}

}  // namespace

void handle_fetch(Manager& manager, const Request& request) { request.reply(next_report(manager, request.session)); }

void handle_taken(Manager& manager, const Request& request) { answer_delivery(manager, request, true); }
void handle_refused(Manager& manager, const Request& request) { answer_delivery(manager, request, false); }

void handle_asy_get(Manager& manager, const Request& request) {
  GetRequest get;
  Reply reply = error_reply(get.read(request.message.data));
  const auto stream = reply.error == OX_OK && (get.options & only_news) != 0
                          ? collected_binary(manager, get.component, get.names)
                          : std::nullopt;
  if (stream && !request.rights->allow(Role::read, stream->path, stream->component, "the stream of")) {
    reply.error = OX_EDENIED;
  } else if (stream) {
    reply.error = manager.streams.open({request.session, request.message.source_id}, stream->id, stream->header,
                                       stream->component, stream->path, reply.source_id);
  } else if (reply.error == OX_OK) {
    auto subscription = std::make_unique<Subscription>();
    subscription->session = request.session;
    subscription->handle = request.message.source_id;
    subscription->component_text = get.component;
    subscription->names = get.names;
    subscription->poll_interval = get.limit;
    subscription->rights = request.rights;
    reply.error = manager.subscriptions.open(std::move(subscription), get.options, reply.source_id);
  }
  // The caller does not look at this answer's error.
  if (reply.error != OX_OK) {
    manager.subscriptions.report_refusal(request.session, request.message.source_id, reply.error);
  }
  request.reply(std::move(reply));
}

void handle_asy_set(Manager& manager, const Request& request) {
  SetRequest set;
  Reply reply = error_reply(set.read(request.message.data));
  if (reply.error == OX_OK && set.nodes.empty()) reply.error = OX_EINCOMPLETE;
  if (reply.error == OX_OK) {
    reply.error = manager.subscriptions.open_set(request.session, request.message.source_id, reply.source_id);
  }
  const std::uint32_t id = reply.source_id;
  const bool opened = reply.error == OX_OK;
  request.reply(std::move(reply));
  if (!opened) return;
  const auto finish = [&manager, id, session = request.session](Reply result) {
    if (manager.subscriptions.has(id, session)) manager.registrations.closed(session);
    manager.subscriptions.finish_set(id, std::move(result));
  };
  try {
    manager.writer.write({request.session, request.rights}, std::move(set.nodes), set.limit, node_answer(finish));
  } catch (const std::bad_alloc&) {  // the request has its reply
    finish(error_reply(OX_ENOMEM));
  }
}

void handle_asy_close(Manager& manager, const Request& request) {
  // A request's id stands in the source field, since it is what the reply gave there.
  const bool closed = manager.subscriptions.close(request.message.source_id, request.session) ||
                      manager.streams.close(request.message.source_id, request.session);
  request.reply(error_reply(closed ? request_ended : OX_RESULT{OX_EHANDLE}));
}

// No control code has a meaning yet.
void handle_asy_control(Manager& manager, const Request& request) {
  const bool known = manager.subscriptions.has(request.message.destination_id, request.session) ||
                     manager.streams.has(request.message.destination_id, request.session);
  request.reply(error_reply(known ? OX_EUNSUPPORTED : OX_EHANDLE));
}

}  // namespace ox::manager
