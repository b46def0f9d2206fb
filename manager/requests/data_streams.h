// Asynchronous gets of what a data entry has collected and goes on to collect: its header, the rounds so far, then each
// new round; when it is closed and all is delivered, the end.
//
// A piece is made when the client fetches it: nothing waits for it in memory.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "manager/requests/item_nodes.h"
#include "manager/series/store.h"
#include "manager/sessions/clients.h"

namespace ox::manager {

class DataStreams {
 public:
  DataStreams(SeriesStore& series, Clients& clients);
  ~DataStreams();
  DataStreams(const DataStreams&) = delete;
  DataStreams& operator=(const DataStreams&) = delete;

  struct Client {
    std::uint32_t session = 0;
    std::uint32_t handle = 0;  // the client's name for the request
  };
  // The header of an entry, or its values; for its reports the component and the attribute. 0 and the request's id,
  // which no other kind of request has; 85 when the session has too many.
  [[nodiscard]] OX_RESULT open(const Client& client, EntryId entry, bool header, const ComponentName& component,
                               const Oid& path, std::uint32_t& id);
  [[nodiscard]] bool close(std::uint32_t id, std::uint32_t session);
  [[nodiscard]] bool has(std::uint32_t id, std::uint32_t session) const;
  void end_session(std::uint32_t session);
  // What could not read while the database was away does so now.
  void go_on();

 private:
  class Stream;
  void wake(EntryId entry);
  [[nodiscard]] bool header_is_due(const Stream& of) const;

  SeriesStore& series_;
  Clients& clients_;
  std::map<std::uint32_t, std::unique_ptr<Stream>> streams_;
  std::uint32_t last_id_ = 0;
};

}  // namespace ox::manager
