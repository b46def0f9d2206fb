#include "access/async_request.h"

#include <utility>

#include <oxbase/oxa.h>
#include <oxbase/oxc.h>

#include "access/callback.h"
#include "access/reports.h"
#include "access/request.h"
#include "access/session.h"
#include "access/standing.h"
#include "common/trace.h"
#include "platform/fork.h"

namespace ox {
namespace {

constinit AsyncRequest* open_requests = nullptr;
constinit std::uint32_t last_wire_id = 0;
constinit std::uint32_t last_turn = 0;
[[maybe_unused]] const bool follows_forks = platform::in_forked_child([]() noexcept { open_requests = nullptr; });

AsyncRequest* next_of(const AsyncRequest* request) noexcept {
  return reinterpret_cast<AsyncRequest*>(request->links.next);
}

// Tells the manager that a request is over. Its reply says 1 when it has ended the request.
OX_RESULT close_at_manager(const AsyncRequest& request) {
  constexpr OX_RESULT ended = 1;
  MessagePtr reply;
  const OX_RESULT result = exchange({.command = request.kind == kind_get ? command_close_get : command_close_set,
                                     .manager = request.manager,
                                     .source_id = request.daemon_id},
                                    {}, reply);
  if (result != OX_OK) return result;
  return reply->error == ended ? OX_RESULT{OX_OK} : reply->error;
}

OX_RESULT close_request(const void* handle) {
  if (const OX_RESULT result = session().check_thread()) return result;
  AsyncRequest* const found = find_async_request(handle);
  if (found == nullptr) return session().connected() ? OX_EHANDLE : OX_ENOSESSION;
  const AsyncRequestPtr request = take_async_request(found);  // released in every case
  drop_reports(request->kind, request->wire_id);              // a later request may have the same number
  if (!session().connected()) return OX_ENOSESSION;
  return request->daemon_id != 0 ? close_at_manager(*request) : OX_RESULT{OX_OK};
}

OX_RESULT control_request(const void* handle, std::uint32_t code, const void* data, std::uint32_t length) {
  if (const OX_RESULT result = session().check()) return result;
  const AsyncRequest* const request = find_async_request(handle);
  if (request == nullptr) return OX_EHANDLE;
  if (code > 0xFFFF || (data == nullptr && length != 0)) return OX_EARG;
  MessagePtr reply;
  const OX_RESULT result = exchange({.command = command_control,
                                     .manager = request->manager,
                                     .error = code,
                                     .source_id = request->wire_id,
                                     .destination_id = request->daemon_id},
                                    {PayloadPart::bytes(data, length)}, reply);
  return result != OX_OK ? result : reply->error;
}

}  // namespace

void release_async_request(AsyncRequest* request) noexcept {
  if (request == nullptr) return;
  (void)oxdFree(request->list);
  (void)oxcMemFree(request->manager);
  (void)oxcMemFree(request->registration);
  (void)oxcMemFree(request);
}

AsyncRequestPtr make_async_request(std::uint32_t kind, const char* tag) noexcept {
  AsyncRequestPtr request(make_tracked<AsyncRequest>(tag).release());
  if (request) {
    request->kind = kind;
    request->wire_id = make_wire_id(request.get(), last_wire_id,
                                    [](std::uint32_t id) { return find_async_request_by_wire_id(id) != nullptr; });
  }
  return request;
}

void open_async_request(AsyncRequestPtr request) noexcept {
  request->turn = last_turn;
  (void)oxcQueueAdd(&open_requests, request.release());
}

AsyncRequest* find_async_request(const void* handle) noexcept {
  AsyncRequest* request = open_requests;
  while (request != nullptr && request != handle) request = next_of(request);
  return request;
}

AsyncRequest* find_async_request_by_wire_id(std::uint32_t wire_id) noexcept {
  AsyncRequest* request = open_requests;
  while (request != nullptr && request->wire_id != wire_id) request = next_of(request);
  return request;
}

AsyncRequestPtr take_async_request(AsyncRequest* open_request) noexcept {
  (void)oxcQueueDel(&open_requests, open_request);
  return AsyncRequestPtr(open_request);
}

void end_async_request(AsyncRequest& request) noexcept {
  request.daemon_id = 0;
  (void)oxcMemFree(std::exchange(request.registration, nullptr));
}

void lose_requests() noexcept {
  for (AsyncRequest* request = open_requests; request != nullptr; request = next_of(request)) {
    request->notice = OX_ECLOSED;
    request->daemon_id = 0;
  }
}

// For a set the notice is its one report.
void tell_requests() {
  visit_all(open_requests, last_turn, [](AsyncRequest& request) {
    const OX_RESULT code = std::exchange(request.notice, OX_RESULT{OX_OK});
    if (code == OX_OK) return;
    const AsyncRequestPtr ended = request.kind == kind_set ? take_async_request(&request) : nullptr;
    (void)run_callback("an asynchronous request", [&]() -> OX_RESULT {
      request.callback(&request, request.argument, nullptr, code);
      return OX_OK;
    });
  });
}

// The manager tells by a report which of them it refuses.
OX_RESULT register_requests_again() {
  for (AsyncRequest* request = open_requests; request != nullptr; request = next_of(request)) {
    if (request->registration == nullptr) continue;
    Frame frame;
    MessagePtr reply;
    if (const OX_RESULT result = frame.repeat({request->registration, request->registration_size})) return result;
    if (const OX_RESULT result = session().exchange(frame, reply)) return result;
    request->daemon_id = reply->source_id;
  }
  return OX_OK;
}

}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxaClose(void* request) {
  OX_TRACE(trace::messages, "<S:oxaClose:%x>\n", trace::word(request));
  return traced_as(trace::messages, "<E:oxaClose:[%d]>\n", [&] { return close_request(request); });
}

OX_RESULT OX_CALL oxaControl(void* request, uint32_t code, const void* data, uint32_t length) {
  OX_TRACE(trace::messages, "<S:oxaControl:%x:%d:%x:%d>\n", trace::word(request), static_cast<int>(code),
           trace::word(data), static_cast<int>(length));
  return traced_as(trace::messages, "<E:oxaControl:[%d]>\n",
                   [&] { return control_request(request, code, data, length); });
}
