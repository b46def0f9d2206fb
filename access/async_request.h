// Asynchronous requests: the records behind the handles, and the process-wide list of those that are open.
#pragma once

#include <cstdint>

#include <oxbase/oxa.h>

#include "common/memory.h"
#include "common/trace.h"

namespace ox {

inline constexpr std::uint32_t kind_get = 2;
inline constexpr std::uint32_t kind_set = 5;

// A tracked, zero-filled record (tag "asyget" or "asyset"). Its address is the caller's handle.
struct AsyncRequest {
  Queue links;
  dnode* list;
  std::uint32_t kind;
  char* manager;
  oxaAsyCallback callback;
  void* argument;
  std::uint32_t daemon_id;  // the manager's name for it; 0 when it is not registered, or not any more
  std::uint32_t wire_id;    // our name for it in messages
  // The message that registered a get, for the next connection. Null when the manager has ended the request.
  unsigned char* registration;
  std::uint32_t registration_size;
  OX_RESULT notice;  // these two: see access/standing.h
  std::uint32_t turn;
};

// Releases the record with its list and name; it must not be open.
void release_async_request(AsyncRequest* request) noexcept;

struct AsyncRequestRelease {
  void operator()(AsyncRequest* request) const noexcept { release_async_request(request); }
};
using AsyncRequestPtr = std::unique_ptr<AsyncRequest, AsyncRequestRelease>;

// A number for a record in messages: its address where that has 32 bits, else a number that `taken` does not know.
template <class Record, class Taken>
[[nodiscard]] std::uint32_t make_wire_id(const Record* record, std::uint32_t& last, Taken taken) noexcept {
  if constexpr (sizeof(std::uintptr_t) == sizeof(std::uint32_t)) return trace::word(record);
  do {
    ++last;
  } while (last == 0 || taken(last));
  return last;
}

// A new record with a wire id of its own. Null when memory runs out.
[[nodiscard]] AsyncRequestPtr make_async_request(std::uint32_t kind, const char* tag) noexcept;

// The list of open requests, which owns them. Looking up never touches what is not on it: a stale handle or id finds
// nothing.
void open_async_request(AsyncRequestPtr request) noexcept;
[[nodiscard]] AsyncRequest* find_async_request(const void* handle) noexcept;
[[nodiscard]] AsyncRequest* find_async_request_by_wire_id(std::uint32_t wire_id) noexcept;
[[nodiscard]] AsyncRequestPtr take_async_request(AsyncRequest* open_request) noexcept;

// The manager has ended the request: it has no name there any more, and no connection registers it again.
void end_async_request(AsyncRequest& request) noexcept;

// See access/standing.h.
void lose_requests() noexcept;
void tell_requests();
[[nodiscard]] OX_RESULT register_requests_again();

}  // namespace ox
