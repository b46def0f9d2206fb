// Asynchronous requests: gets that report events and changed values until they are closed, and sets that report once.
#pragma once

#include <asio/io_context.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <span>

#include "manager/base/settings.h"
#include "manager/components/directory.h"
#include "manager/events/readers.h"
#include "manager/reports/subscription.h"
#include "manager/reports/watchers.h"
#include "manager/sessions/clients.h"
#include "manager/snmp/value_reader.h"

namespace ox::manager {

class Subscriptions {
 public:
  Subscriptions(asio::io_context& loop, const Settings& settings, const Vocabulary& vocabulary,
                const Directory& directory, const ValueReader& reader, EventReaders& events, Clients& clients)
      : loop_(loop),
        settings_(settings),
        vocabulary_(vocabulary),
        directory_(directory),
        reader_(reader),
        events_(events),
        clients_(clients) {}

  // Opens a get: 0 and its id; 59, 197, 84, 125 to 128; 5 for one value that the user may not read; 85 when the session
  // has too many.
  [[nodiscard]] OX_RESULT open(std::unique_ptr<Subscription> subscription, std::uint32_t options, std::uint32_t& id);
  // A set under way: its id, and the one report that ends it. 85 when the session has too many.
  [[nodiscard]] OX_RESULT open_set(std::uint32_t session, std::uint32_t handle, std::uint32_t& id);
  void finish_set(std::uint32_t id, Reply reply);
  // False for an id that is not one of the session's.
  [[nodiscard]] bool close(std::uint32_t id, std::uint32_t session);
  [[nodiscard]] bool has(std::uint32_t id, std::uint32_t session) const;
  void end_session(std::uint32_t session);

  // Reports changes of the store, and values written to agents, to those who watch them.
  void changed(std::span<const Change> changes);

  // A report of an error for a request that was not opened, whose caller does not look at the reply.
  void report_refusal(std::uint32_t session, std::uint32_t handle, OX_RESULT code);

 private:
  struct SetUnderWay {
    std::uint32_t session = 0;
    std::uint32_t handle = 0;
  };
  using Gets = std::map<std::uint32_t, std::unique_ptr<Subscription>>;

  [[nodiscard]] std::uint32_t new_id();
  [[nodiscard]] bool may_open(std::uint32_t session) const;
  void watch_events(Subscription& subscription);
  void ask(Subscription& subscription, std::uint32_t options);
  void report(const Subscription& subscription, OX_RESULT error, const NodeList& nodes);
  void add(std::uint32_t session, Reply report);
  void erase(Gets::iterator entry);

  asio::io_context& loop_;
  const Settings& settings_;
  const Vocabulary& vocabulary_;
  const Directory& directory_;
  const ValueReader& reader_;
  EventReaders& events_;
  Clients& clients_;
  Gets gets_;
  std::map<std::uint32_t, SetUnderWay> sets_;
  std::map<std::uint32_t, std::uint32_t> open_;  // requests of each session
  Watchers watchers_;
  std::uint32_t last_id_ = 0;
};

}  // namespace ox::manager
