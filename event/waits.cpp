// Plain, trap and icon waits: each rides on an asynchronous get of the values that the manager reports events by.
#include <cstring>
#include <string>

#include <oxbase/oxa.h>

#include "access/callback.h"
#include "common/trace.h"
#include "data/dnode.h"
#include "event/evmsg.h"
#include "event/wait_list.h"
#include "platform/fork.h"

namespace ox::event {
namespace {

constexpr std::uint32_t watch_option = 64;
constexpr char events_path[] = "sysmib.oxMessage.oxEventMessage2.0";
constexpr char traps_path[] = "sysmib.oxMessage.oxTrapMessage.0";

template <class Callback>
struct RidingWait {
  Queue links;
  Callback callback;
  void* argument;
  std::uint32_t flags;  // the caller's; kept
  void* request;
  evflt* filter;
  std::uint32_t serial;  // tells it from an earlier wait at the same address
};
using EventWait = RidingWait<oxeEventCallback>;
using IconWait = RidingWait<oxeEventIconCallback>;

constinit WaitList<EventWait> event_waits;
constinit WaitList<IconWait> icon_waits;
constinit std::uint32_t last_serial = 0;

[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept {
  event_waits.forget();
  icon_waits.forget();
});

template <class Wait, class Callback>
OX_RESULT open_wait(WaitList<Wait>& waits, const char* manager, const char* component, const char* path,
                    std::uint32_t flags, Callback callback, void* argument, oxaAsyCallback on_report, void** handle) {
  if (callback == nullptr || handle == nullptr) return OX_EARG;
  if (const OX_RESULT result = session().check()) return result;
  wait_ptr<Wait> wait = make_wait<Wait>("evwait_000");
  if (!wait) return OX_ENOMEM;
  wait->callback = callback;
  wait->argument = argument;
  wait->flags = flags;
  wait->serial = ++last_serial;
  const OX_RESULT result =
      oxaAsyGet(manager, component, path, nullptr, watch_option, 0, on_report, wait.get(), &wait->request);
  if (result != OX_OK) return result;
  *handle = waits.add(std::move(wait));
  return OX_OK;
}

template <class Wait>
OX_RESULT close_wait(WaitList<Wait>& waits, const void* handle) {
  if (const OX_RESULT result = session().check_thread()) return result;
  Wait* const open = waits.find(handle);
  if (open == nullptr) return OX_EARG;
  const wait_ptr<Wait> wait = waits.take(open);
  return oxaClose(wait->request);
}

// The events in the value of a node. A node without a value tells why by its error code.
OX_RESULT events_of(const dnode* node, evmsg_ptr& events) {
  std::uint32_t size = 0;
  const void* value = nullptr;
  if (const OX_RESULT result = oxdGetValue(node, nullptr, &size, &value)) {
    std::uint32_t code = 0;
    return oxdGetErrCode(node, &code) == OX_OK && code != OX_OK ? code : result;
  }
  evmsg* list = nullptr;
  const OX_RESULT result = oxeEvmsgDecode(value, size, &list);
  events.reset(list);
  return result;
}

void call(EventWait& wait, evmsg* events, OX_RESULT code) noexcept {
  (void)run_callback("a wait for events", [&] { return wait.callback(&wait, 0, wait.argument, events, code); });
}

// A node's events go to the callback, or are dropped, as one. Without events there is nothing to tell.
void deliver(EventWait& wait, const dnode* node, OX_RESULT code) {
  evmsg_ptr events;
  if (code == OX_OK) code = events_of(node, events);
  if (code != OX_OK) {
    call(wait, nullptr, code);
  } else if (events && oxeEvfltMatch(events.get(), wait.filter) != 0) {
    call(wait, events.release(), OX_OK);
  }
}

// A callback may close its wait, and open another at the same address, with its request at the same address, too.
void OX_CALL on_events(void* request, void* argument, dnode* list, OX_RESULT code) {
  OX_TRACE(trace::messages, "<S:oxeEventWaitCbfunc(%x,%x,%x,%x)>\n", trace::word(request), trace::word(argument),
           trace::word(list), code);
  const data::dnode_ptr nodes(list);
  const dnode* node = list;
  const EventWait* const told = event_waits.find(argument);
  const std::uint32_t serial = told != nullptr ? told->serial : 0;
  do {
    EventWait* const wait = event_waits.find(argument);
    if (wait == nullptr || wait->serial != serial) break;
    deliver(*wait, node, node != nullptr || code != OX_OK ? code : OX_RESULT{OX_ENOVALUE});
    node = code == OX_OK ? oxdNext(node) : nullptr;
  } while (node != nullptr);
  OX_TRACE(trace::messages, "<E:oxeEventWaitCbfunc[%d]>\n", 0);
}

// Both kinds are traced under the name of the first: they are the same wait on another value.
OX_RESULT open_event_wait(const char* session, const char* path, std::uint32_t flags, oxeEventCallback callback,
                          void* argument, void** wait) {
  OX_TRACE(trace::messages, "<S:oxeEventWait(%s,%x,%x,%x,%x)>\n", trace::text(session), flags, trace::word(callback),
           trace::word(argument), trace::word(wait));
  return traced_as(trace::messages, "<E:oxeEventWait[%d]>\n", [&] {
    return open_wait(event_waits, session, "system:system", path, flags, callback, argument, on_events, wait);
  });
}

// What an icon report's nodes say.
struct IconState {
  const char* component = nullptr;
  const char* name = nullptr;
  std::uint32_t status = 0;

  explicit IconState(const dnode* list) {
    for (const dnode* node = list; node != nullptr; node = oxdNext(node)) {
      const char* path = "";
      (void)oxdGetAmibName(node, &path);
      if (component == nullptr) (void)oxdGetCompName(node, &component);
      if (std::strcmp(path, "11.2.5.0") == 0) {
        (void)oxdGetValueByUlong(node, &status);
      } else if (std::strcmp(path, "11.2.4.0") == 0 && oxdGetValueType(node) == OX_DISPLAYSTRING) {
        name = static_cast<const char*>(oxdGetValueValue(node));
      }
    }
  }
};

void OX_CALL on_icon(void*, void* argument, dnode* list, OX_RESULT code) {
  const data::dnode_ptr nodes(list);
  IconWait* const wait = icon_waits.find(argument);
  if (wait == nullptr) return;
  const IconState icon(code == OX_OK ? list : nullptr);
  (void)run_callback("a wait for icons", [&]() -> OX_RESULT {
    wait->callback(wait, wait->argument, icon.component, icon.name, icon.status, code);
    return OX_OK;
  });
}

OX_RESULT open_icon_wait(const char* session, const char* map_name, oxeEventIconCallback callback, void* argument,
                         void** handle) {
  constexpr std::size_t name_limit = 64;
  if (map_name == nullptr) return OX_EFORMAT;
  if (std::strlen(map_name) >= name_limit) return OX_ECOMPNAME;
  char component[name_limit + 4] = "map:";
  std::strcat(component, map_name);
  return open_wait(icon_waits, session, component, "obj.map.mapIconStatus.0,obj.map.mapIconName.0", 0, callback,
                   argument, on_icon, handle);
}

}  // namespace
}  // namespace ox::event

using namespace ox;
using namespace ox::event;

OX_RESULT OX_CALL oxeEventWaitOpen(const char* session, uint32_t flags, oxeEventCallback callback, void* argument,
                                   void** wait) {
  return open_event_wait(session, events_path, flags, callback, argument, wait);
}

OX_RESULT OX_CALL oxeTrapWaitOpen(const char* session, uint32_t flags, oxeEventCallback callback, void* argument,
                                  void** wait) {
  return open_event_wait(session, traps_path, flags, callback, argument, wait);
}

OX_RESULT OX_CALL oxeEventWaitFilter(void* wait, const evflt* filter) {
  OX_TRACE(trace::messages, "<S:oxeEventWaitFilter(%x,%x)>\n", trace::word(wait), trace::word(filter));
  return traced_as(trace::messages, "<E:oxeEventWaitFilter[%d]>\n",
                   [&] { return event_waits.set_filter(wait, filter); });
}

OX_RESULT OX_CALL oxeEventWaitClose(void* wait) {
  OX_TRACE(trace::messages, "<S:oxeEventWaitClose(%x)>\n", trace::word(wait));
  return traced_as(trace::messages, "<E:oxeEventWaitClose[%d]>\n", [&] { return close_wait(event_waits, wait); });
}

OX_RESULT OX_CALL oxeEventIconWaitOpen(const char* session, const char* mapName, oxeEventIconCallback callback,
                                       void* argument, void** wait) {
  OX_TRACE(trace::messages, "<S:oxeEventIconWait(%s,%x,%x,%x,%x)>\n", trace::text(session), trace::word(mapName),
           trace::word(callback), trace::word(argument), trace::word(wait));
  return traced_as(trace::messages, "<E:oxeEventIconWait[%d]>\n",
                   [&] { return open_icon_wait(session, mapName, callback, argument, wait); });
}

OX_RESULT OX_CALL oxeEventIconWaitClose(void* wait) {
  OX_TRACE(trace::messages, "<S:oxeEventIconWaitClose(%x)>\n", trace::word(wait));
  return traced_as(trace::messages, "<E:oxeEventIconWaitClose[%d]>\n", [&] { return close_wait(icon_waits, wait); });
}
