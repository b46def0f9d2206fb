// Persistent waits: deliveries that are taken or refused one by one, by number, and the memory of the last one taken.
#include <cstring>
#include <string>
#include <utility>

#include "access/async_request.h"
#include "access/callback.h"
#include "access/reports.h"
#include "access/session.h"
#include "access/standing.h"
#include "common/protocol.h"
#include "common/trace.h"
#include "event/event_request.h"
#include "event/evmsg.h"
#include "event/wait_list.h"
#include "platform/fork.h"
#include "platform/registry.h"

namespace ox::event {
namespace {

constexpr std::size_t name_limit = 64;
constexpr std::uint32_t nothing_received = 0xFFFFFFFF;

struct PersistentWait {
  Queue links;
  oxeEventCallback callback;
  void* argument;
  std::uint32_t wire_id;     // our name for it in messages
  std::uint32_t manager_id;  // the manager's
  evflt* filter;
  std::uint32_t last_number;         // of the delivery taken last
  platform::RegistryNumber* memory;  // null when the registry has no key for it
  bool closed;                       // while its callback ran: it goes when the last of them returns
  std::uint32_t running;             // callbacks; an error may be told inside another's
  OX_RESULT notice;                  // see access/standing.h
  std::uint32_t turn;
  char name[name_limit + 1];
};

constinit WaitList<PersistentWait> waits;
constinit std::uint32_t last_wire_id = 0;
constinit std::uint32_t last_turn = 0;

// A callback with events runs: another delivery has to wait for its end.
struct Delivering {
  bool now;
  std::uint32_t connection;  // by which its events came
};
constinit Delivering delivering{};
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept {
  waits.forget();
  delivering = {};
});

PersistentWait* find_by_wire_id(std::uint32_t wire_id) noexcept {
  return waits.find_if([wire_id](const PersistentWait& wait) { return wait.wire_id == wire_id; });
}

// The key is made by the installer of the wait's application or by the manager, never here: without one there is no
// memory.
void recall(PersistentWait& wait, const char* name) {
  auto memory = std::make_unique<platform::RegistryNumber>();
  if (memory->open((std::string(wait_key_prefix) + name).c_str(), wait_number_name) != platform::error_none) return;
  (void)memory->read(wait.last_number);
  wait.memory = memory.release();
}

// A number that cannot be kept costs a repetition in a later process, not the delivery.
void remember(PersistentWait& wait, std::uint32_t number) noexcept {
  wait.last_number = number;
  if (wait.memory == nullptr) return;
  (void)guarded([&] { return wait.memory->write(number); });
}

OX_RESULT call(PersistentWait& wait, evmsg* events, OX_RESULT code) noexcept {
  ++wait.running;
  const OX_RESULT result =
      run_callback("a persistent wait", [&] { return wait.callback(&wait, 0, wait.argument, events, code); });
  --wait.running;
  return result;
}

// What the manager gets to know about a delivery.
enum class Answer { taken, refused, postponed };

// The callback's answer; no call is a delivery taken. The manager of a later connection than that of the callback which
// runs knows nothing of this callback, and would take the postponed delivery for the one that is in it: refused, it
// comes again.
Answer hand_over(PersistentWait& wait, evmsg_ptr events) {
  if (!events || oxeEvfltMatch(events.get(), wait.filter) == 0) return Answer::taken;
  const std::uint32_t connection = session().connection();
  if (delivering.now) return delivering.connection == connection ? Answer::postponed : Answer::refused;
  delivering = {true, connection};
  const OX_RESULT refused = call(wait, events.release(), OX_OK);
  delivering.now = false;
  return refused == OX_OK ? Answer::taken : Answer::refused;
}

// Errors come before the number is looked at, and are taken and refused like events.
Answer deliver(PersistentWait& wait, const Message& report) {
  OX_RESULT code = report.type == type_connection_notice ? OX_RESULT{OX_ECLOSED} : report.error;
  if (code == OX_OK && report.reference == wait.last_number) return Answer::taken;
  evmsg* events = nullptr;
  if (code == OX_OK) code = oxeEvmsgDecode(report.data, report.data_length, &events);
  Answer answer = Answer::taken;
  if (code == OX_OK) {
    answer = hand_over(wait, evmsg_ptr(events));
  } else if (call(wait, nullptr, code) != OX_OK) {
    answer = Answer::refused;
  }
  // Not in a child that the callback has forked: the wait is its parent's.
  if (answer == Answer::taken && waits.find(&wait) != nullptr) remember(wait, report.reference);
  return answer;
}

NextFetch next_fetch(Answer answer, std::uint32_t number) noexcept {
  switch (answer) {
    case Answer::taken:
      return {.type = type_fetch_taken, .reference = number};
    case Answer::refused:
      return {.type = type_fetch_refused, .reference = number};
    case Answer::postponed:
      break;
  }
  return {.postponed = true};
}

NextFetch on_delivery(MessagePtr report) {
  PersistentWait* const wait = find_by_wire_id(report->destination_id);
  if (wait == nullptr) return on_application_data(std::move(report));
  const Answer answer = deliver(*wait, *report);
  if (wait->closed && wait->running == 0) (void)waits.take(wait);
  return next_fetch(answer, report->reference);
}

OX_RESULT register_at_manager(PersistentWait& wait) {
  MessagePtr reply;
  const OX_RESULT result = request({.command = command_application_data, .source_id = wait.wire_id},
                                   {PayloadPart::bytes(wait.name, std::strlen(wait.name) + 1)}, reply);
  if (result == OX_OK) wait.manager_id = reply->source_id;
  return result;
}

void lose_waits() noexcept {
  waits.for_each([](PersistentWait& wait) {
    wait.notice = OX_ECLOSED;
    wait.manager_id = 0;
  });
}

// Not a delivery: the number of the last one stays.
void tell_waits() {
  waits.visit(last_turn, [](PersistentWait& wait) {
    const OX_RESULT code = std::exchange(wait.notice, OX_RESULT{OX_OK});
    if (code == OX_OK || wait.closed) return;
    (void)call(wait, nullptr, code);
    if (wait.closed && wait.running == 0) (void)waits.take(&wait);
  });
}

OX_RESULT register_waits_again() {
  OX_RESULT lost = OX_OK;
  waits.for_each([&lost](PersistentWait& wait) {
    if (lost != OX_OK || wait.closed) return;
    const OX_RESULT result = register_at_manager(wait);
    if (result == OX_OK) return;
    if (!session().connected()) {
      lost = result;
    } else {
      wait.notice = result;
      session().tell_later();
    }
  });
  return lost;
}

OX_RESULT close_at_manager(const PersistentWait& wait) {
  if (wait.manager_id == 0) return session().connected() ? OX_OK : OX_ENOSESSION;
  MessagePtr reply;
  return request({.command = command_wait_close, .destination_id = wait.manager_id}, {}, reply);
}

OX_RESULT open(const char* name, oxeEventCallback callback, void* argument, void** handle) {
  if (handle != nullptr) *handle = nullptr;
  if (name == nullptr || *name == '\0' || handle == nullptr) return OX_EMISSING;
  const std::size_t length = std::strlen(name);
  if (length > name_limit) return OX_EWAITNAME;
  if (const OX_RESULT result = session().check()) return result;
  if (callback == nullptr) return OX_EARG;
  wait_ptr<PersistentWait> wait = make_wait<PersistentWait>("evwait_001");
  if (!wait) return OX_ENOMEM;
  wait->last_number = nothing_received;
  wait->wire_id =
      make_wire_id(wait.get(), last_wire_id, [](std::uint32_t id) { return find_by_wire_id(id) != nullptr; });
  set_report_handler(command_application_data, on_delivery);
  set_standing_waits({lose_waits, tell_waits, register_waits_again});
  std::memcpy(wait->name, name, length + 1);
  if (const OX_RESULT result = register_at_manager(*wait)) return result;
  wait->callback = callback;
  wait->argument = argument;
  wait->turn = last_turn;
  // Not before: the memory of a wait that another process has open is that process's, and that of a new name has only
  // now been made. What fails here must not leave the wait open at the manager, which would deliver to nobody.
  const OX_RESULT recalled = guarded([&]() -> OX_RESULT {
    recall(*wait, name);
    return OX_OK;
  });
  if (recalled != OX_OK) {
    (void)close_at_manager(*wait);
    return recalled;
  }
  *handle = waits.add(std::move(wait));
  return OX_OK;
}

OX_RESULT close(const void* handle) {
  if (const OX_RESULT result = session().check_thread()) return result;
  PersistentWait* const wait = waits.find(handle);
  if (wait == nullptr || wait->closed) return OX_EMISSING;
  // Before the name is free: another process may open it at once, and the memory is its from then on.
  if (wait->running == 0) delete std::exchange(wait->memory, nullptr);
  const OX_RESULT result = close_at_manager(*wait);
  drop_reports(command_application_data, wait->wire_id);
  if (wait->running != 0) {
    wait->closed = true;
  } else {
    (void)waits.take(wait);
  }
  return result;
}

}  // namespace
}  // namespace ox::event

using namespace ox;

OX_RESULT OX_CALL oxeEventWaitOpenEx(const char* name, oxeEventCallback callback, void* argument, void** wait) {
  OX_TRACE(trace::messages, "<S:oxeEventWaitOpenEx(%s,%x,%x,%x)>\n", trace::text(name), trace::word(callback),
           trace::word(argument), trace::word(wait));
  return traced_as(trace::messages, "<E:oxeEventWaitOpenEx[%d]>\n",
                   [&] { return event::open(name, callback, argument, wait); });
}

OX_RESULT OX_CALL oxeEventWaitFilterEx(void* wait, const evflt* filter) {
  OX_TRACE(trace::messages, "<S:oxeEventWaitFilterEx(%x,%x)>\n", trace::word(wait), trace::word(filter));
  return traced_as(trace::messages, "<E:oxeEventWaitFilterEx[%d]>\n",
                   [&] { return event::waits.set_filter(wait, filter); });
}

OX_RESULT OX_CALL oxeEventWaitCloseEx(void* wait) {
  OX_TRACE(trace::messages, "<S:oxeEventWaitCloseEx(%x)>\n", trace::word(wait));
  return traced_as(trace::messages, "<E:oxeEventWaitCloseEx[%d]>\n", [&] { return event::close(wait); });
}
