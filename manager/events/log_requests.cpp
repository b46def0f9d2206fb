// The requests about the event log, and the cancelling of events.
#include <algorithm>
#include <asio/post.hpp>
#include <limits>
#include <new>

#include "manager/requests/handlers.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t checked_flag = 0x1;
constexpr std::size_t page_events = 256;
constexpr std::size_t page_bytes = 1u << 20;

// A search of the log, a page in each turn of the loop: other clients do not wait for it.
class Search : public std::enable_shared_from_this<Search> {
 public:
  Search(Manager& manager, FilterPtr filter, std::function<void(Reply)> reply)
      : manager_(manager), filter_(std::move(filter)), reply_(std::move(reply)) {}

  OX_RESULT read_limits();
  void start() {
    manager_.events.flush();
    place_ = backward_ ? std::numeric_limits<Sequence>::max() : 0;
    next_page();
  }

 private:
  void next_page() {
    try {
      EventStore& store = manager_.events.store();
      std::vector<StoredEvent> page;
      const Outcome outcome = backward_ ? store.before(place_, page_events, page_bytes, page)
                                        : store.after(place_, page_events, page_bytes, page);
      for (const StoredEvent& event : page) {
        place_ = event.sequence;
        if (event.listed && matches(event)) found_.push_back(event.body);
        if (limit_ != 0 && found_.size() == limit_) return finish();
      }
      if (outcome != Outcome::done) return reply_(error_reply(OX_ERUNTIME));
      if (page.empty()) return finish();
      asio::post(manager_.loop, [self = shared_from_this()] { self->next_page(); });
    } catch (const std::bad_alloc&) {
      reply_(error_reply(OX_ENOMEM));
    }
  }
  [[nodiscard]] bool matches(const StoredEvent& event) const {
    EventPtr decoded;
    return decode_events(event.body, decoded) == OX_OK && oxeEvfltMatch(decoded.get(), filter_.get()) != 0;
  }
  void finish() {
    if (found_.empty()) return reply_(error_reply(OX_ENOTFOUND));
    Reply reply;
    std::size_t size = 0;
    for (const Bytes& body : found_) size += body.size();
    reply.data.reserve(size);
    const auto add = [&](const Bytes& body) { reply.data.insert(reply.data.end(), body.begin(), body.end()); };
    if (backward_) {
      std::for_each(found_.rbegin(), found_.rend(), add);
    } else {
      std::for_each(found_.begin(), found_.end(), add);
    }
    reply_(std::move(reply));
  }

  Manager& manager_;
  FilterPtr filter_;
  std::function<void(Reply)> reply_;
  bool backward_ = false;
  std::size_t limit_ = 0;  // 0: none
  Sequence place_ = 0;
  std::vector<Bytes> found_;
};

// A filter's numbers cannot be asked for; among its bytes, these come last but for the address.
OX_RESULT Search::read_limits() {
  void* buffer = nullptr;
  std::uint32_t length = 0;
  if (const OX_RESULT result = oxeEvfltEncode(filter_.get(), &buffer, &length)) return result;
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(buffer, oxcMemFree);
  const std::span bytes(static_cast<const std::byte*>(buffer), length);
  const std::uint32_t on = PayloadReader(bytes).u32();
  backward_ = (on & OX_EVFLT_LAST) != 0;
  if ((on & (OX_EVFLT_FIRST | OX_EVFLT_LAST)) == 0) return OX_OK;
  const std::size_t behind = 4 + ((on & OX_EVFLT_SNMPSRCIPXADDR) != 0 ? 10u : 0u);
  limit_ = PayloadReader(bytes.subspan(length - behind)).u32();
  return OX_OK;
}

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
  evflt* decoded = nullptr;
  const Bytes& data = request.message.data;
  if (const OX_RESULT result = oxeEvfltDecode(data.data(), static_cast<std::uint32_t>(data.size()), &decoded)) {
    return request.reply(error_reply(result));
  }
  const auto search = std::make_shared<Search>(manager, FilterPtr(decoded), request.reply);
  if (const OX_RESULT result = search->read_limits()) return request.reply(error_reply(result));
  search->start();
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
