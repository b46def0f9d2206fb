// Registering asynchronous requests with the manager.
#include <cstring>
#include <span>
#include <utility>

#include <oxbase/oxa.h>

#include "access/async_request.h"
#include "access/request.h"
#include "access/session.h"
#include "common/owned_text.h"
#include "common/trace.h"

namespace ox {
namespace {

struct Kind {
  std::uint32_t number;
  std::uint32_t command;
  const char* tag;
};
constexpr Kind asy_get{kind_get, command_asy_get, "asyget"};
constexpr Kind asy_set{kind_set, command_asy_set, "asyset"};

// The bytes by which another connection registers the request again.
OX_RESULT keep(const Frame& frame, AsyncRequest& request) noexcept {
  const std::span<const unsigned char> bytes = frame.all();
  auto copy = make_tracked_array<unsigned char>(static_cast<std::uint32_t>(bytes.size()), "pipeData");
  if (!copy) return OX_ENOMEM;
  std::memcpy(copy.get(), bytes.data(), bytes.size());
  request.registration = copy.release();
  request.registration_size = static_cast<std::uint32_t>(bytes.size());
  return OX_OK;
}

// Makes the record and sends what `lay_out`(frame, header) makes of it.
template <class LayOut>
OX_RESULT register_request(const Kind& kind, const char* manager, oxaAsyCallback callback, void* argument,
                           LayOut lay_out, AsyncRequestPtr& request, MessagePtr& reply) {
  AsyncRequestPtr made = make_async_request(kind.number, kind.tag);
  if (!made || assign_text(made->manager, manager) != OX_OK) return OX_ENOMEM;
  made->callback = callback;
  made->argument = argument;
  Frame frame;
  OX_RESULT result =
      lay_out(frame, RequestHeader{.command = kind.command, .manager = manager, .source_id = made->wire_id});
  if (result == OX_OK && kind.number == kind_get) result = keep(frame, *made);
  if (result == OX_OK) result = session().exchange(frame, reply);
  if (result != OX_OK) return result;
  made->daemon_id = reply->source_id;
  request = std::move(made);
  return OX_OK;
}

OX_RESULT hand_out(AsyncRequestPtr request, void** handle) noexcept {
  *handle = request.get();
  open_async_request(std::move(request));
  return OX_OK;
}

// The manager's answer to the registration is not looked at beyond the id: what is wrong comes as a report.
OX_RESULT get(const char* manager, const char* component, const char* amib_name, const oxaSelection* selection,
              std::uint32_t options, std::uint32_t limit, oxaAsyCallback callback, void* argument, void** handle) {
  if (const OX_RESULT result = session().check()) return result;
  if (component == nullptr || amib_name == nullptr) return OX_EFORMAT;
  if (callback == nullptr || handle == nullptr) return OX_EARG;
  const auto lay_out = [&](Frame& frame, const RequestHeader& header) {
    return lay_out_get(frame, header, component, amib_name, selection, options, limit);
  };
  AsyncRequestPtr request;
  MessagePtr reply;
  const OX_RESULT result = register_request(asy_get, manager, callback, argument, lay_out, request, reply);
  return result != OX_OK ? result : hand_out(std::move(request), handle);
}

OX_RESULT set(const char* manager, std::uint32_t first, std::uint32_t second, const dnode* list,
              oxaAsyCallback callback, void* argument, void** handle) {
  if (const OX_RESULT result = session().check()) return result;
  if (callback == nullptr || handle == nullptr) return OX_EARG;
  const auto lay_out = [&](Frame& frame, const RequestHeader& header) {
    return lay_out_set(frame, header, first, second, list);
  };
  AsyncRequestPtr request;
  MessagePtr reply;
  const OX_RESULT result = register_request(asy_set, manager, callback, argument, lay_out, request, reply);
  if (result != OX_OK) return result;
  OX_TRACE(trace::messages, "<M:oxaAsySet(%x,err:%ld)>\n", trace::word(request.get()), trace::number(reply->error));
  return reply->error != OX_OK ? reply->error : hand_out(std::move(request), handle);
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxaAsyGet(const char* manager, const char* component, const char* amibName,
                            const oxaSelection* selection, uint32_t options, uint32_t limit, oxaAsyCallback callback,
                            void* argument, void** request) {
  OX_TRACE(trace::messages, "<S:oxaAsyGet(%s,%s,%s,%x,%x,%d,%x,%x,%x)>\n", trace::text(manager), trace::text(component),
           trace::text(amibName), trace::word(selection), options, static_cast<int>(limit), trace::word(callback),
           trace::word(argument), trace::word(request));
  return traced_as(trace::messages, "<E:oxaAsyGet[%ld]>\n", [&] {
    return get(manager, component, amibName, selection, options, limit, callback, argument, request);
  });
}

OX_RESULT OX_CALL oxaAsySet(const char* manager, uint32_t first, uint32_t second, const dnode* list,
                            oxaAsyCallback callback, void* argument, void** request) {
  OX_TRACE(trace::messages, "<S:oxaAsySet(%s,%x,%d)>\n", trace::text(manager), trace::word(list),
           static_cast<int>(first));
  return traced_as(trace::messages, "<E:oxaAsySet[%ld]>\n",
                   [&] { return set(manager, first, second, list, callback, argument, request); });
}
