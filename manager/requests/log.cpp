// The requests about the event log, and the cancelling of events.
#include <asio/post.hpp>
#include <new>

#include "manager/events/search.h"
#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t checked_flag = 0x1;

// What is to be done to an event of the log, given the event that the request names it by.
using ChangeEvent = void (*)(Manager&, StoredEvent event, const evmsg* given);

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

bool may_change(const Manager& manager, const Rights& rights, const StoredEvent& event) {
  if (rights.may_all(Role::operate)) return true;
  EventPtr decoded;
  return decode_events(event.body, decoded) == OX_OK &&
         rights.allow(Role::operate, manager.component_of(decoded.get()), "a change of the events of");
}

void answer_when_safe(Manager& manager, const Request& request) {
  manager.events.when_safe([reply = request.reply](bool safe) { reply(error_reply(safe ? OX_OK : OX_EWRITE)); });
}

// A change of the events of a list, in steps. Those that are not there any more are passed over: two people may clear
// the log at once. What the steps before one that is refused have done stays done.
class ListChange : public Job {
 public:
  ListChange(Manager& manager, const Request& request, EventPtr list, ChangeEvent change)
      : Job(manager.loop),
        manager_(manager),
        rights_(request.rights),
        list_(std::move(list)),
        change_(change),
        reply_(request.reply) {}

  void start() {
    next_ = list_.get();
    begin(std::chrono::seconds(manager_.settings.event_log_timeout), [this] {
      operation_began();
      go_on();
    });
  }

 private:
  void go_on() {
    if (ended()) return;
    const Pace::Step now(manager_.pace);
    manager_.events.flush();
    for (; next_ != nullptr && Pace::Clock::now() < now.until(); next_ = oxeEvmsgNext(next_)) change_next();
    if (next_ == nullptr && result_ != OX_OK) return end(result_);
    manager_.events.when_safe([this, self = shared_from_this()](bool safe) { step([&] { stepped(safe); }); });
    if (next_ != nullptr) manager_.events.flush();
  }
  void change_next() {
    std::optional<StoredEvent> logged;
    OX_RESULT found = find_listed(manager_, next_, logged);
    if (found == OX_OK && !may_change(manager_, *rights_, *logged)) found = OX_EDENIED;
    if (found == OX_OK) change_(manager_, std::move(*logged), next_);
    if (found != OX_ENOTFOUND && result_ != OX_ERUNTIME && result_ != OX_EDENIED) result_ = found;
  }
  void stepped(bool safe) {
    if (!safe) return end(OX_EWRITE);
    if (next_ == nullptr) return operation_ended();
    asio::post(manager_.loop, [this, self = shared_from_this()] { step([this] { go_on(); }); });
  }
  void finish(OX_RESULT why) override { reply_(error_reply(why)); }

  Manager& manager_;
  RightsPtr rights_;
  EventPtr list_;
  ChangeEvent change_;
  std::function<void(Reply)> reply_;
  const evmsg* next_ = nullptr;
  OX_RESULT result_ = OX_ENOTFOUND;
};

void change_log(Manager& manager, const Request& request, ChangeEvent change) {
  EventPtr list;
  if (const OX_RESULT result = decode_events(request.message.data, list)) return request.reply(error_reply(result));
  for (const evmsg* event = list.get(); event != nullptr; event = oxeEvmsgNext(event)) {
    std::uint32_t id = 0;
    if (oxeEvmsgGetSndId(event, &id) != OX_OK) return request.reply(error_reply(OX_EABSENT));
  }
  const auto job = std::make_shared<ListChange>(manager, request, std::move(list), change);
  manager.jobs.add(request.session, job);
  job->start();
}

}  // namespace

void handle_log_get(Manager& manager, const Request& request) {
  const auto answer = [reply = request.reply](OX_RESULT result, Bytes events, std::shared_ptr<ByteSource> rest) {
    reply({.error = result, .data = std::move(events), .rest = std::move(rest)});
  };
  const LogQuestion question{
      request.session, request.message.data, std::chrono::seconds(manager.settings.event_log_timeout),
      [&manager, rights = request.rights](const evmsg* event) { return manager.may_read(*rights, event); }};
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
  if (!may_change(manager, *request.rights, *event)) return request.reply(error_reply(OX_EDENIED));
  manager.events.withdraw(event->sequence);
  answer_when_safe(manager, request);
}

}  // namespace ox::manager
