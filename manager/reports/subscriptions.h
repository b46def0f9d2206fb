// Asynchronous requests: gets that report events and changed values until they are closed, and sets that report once.
#pragma once

#include <asio/steady_timer.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "manager/base/component_name.h"
#include "manager/base/selection.h"
#include "manager/components/store.h"
#include "manager/sessions/request.h"

namespace ox::manager {

struct Manager;
class EventSubscription;

// One asynchronous get.
struct Subscription {
  std::uint32_t id = 0;
  std::uint32_t session = 0;
  std::uint32_t handle = 0;  // the client's name for it
  ComponentName component;   // its name may be a pattern
  std::string component_text;
  std::string names;
  std::vector<Selection> selections;
  std::uint32_t poll_interval = 0;  // seconds; 0 without values of agents
  std::vector<std::unique_ptr<EventSubscription>> events;
  std::unique_ptr<asio::steady_timer> timer;
  std::map<std::string, std::string> polled;  // the agents' values as they were reported last
  std::map<std::string, std::string>
      meanwhile;  // those reported since the last look began, which may not have seen them
};

class Subscriptions {
 public:
  explicit Subscriptions(Manager& manager);
  ~Subscriptions();
  Subscriptions(const Subscriptions&) = delete;
  Subscriptions& operator=(const Subscriptions&) = delete;

  // Opens a get: 0 and its id; 59, 197, 84, 125 to 128; 85 when the session has too many.
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
  using Key = ComponentName;  // a pattern stands under its type, with an empty name

  [[nodiscard]] std::uint32_t new_id();
  [[nodiscard]] bool may_open(std::uint32_t session) const;
  void watch_events(Subscription& subscription);
  void report(const Subscription& subscription, OX_RESULT error, const NodeList& nodes);
  void begin_polling(Subscription& subscription, std::uint32_t options);
  void poll_later(Subscription& subscription);
  void poll(std::uint32_t id, bool report_all, bool silent);
  void polled(Subscription& subscription, OX_RESULT result, NodeList nodes, bool report_all, bool silent);
  void add_changes(Subscription& subscription, const Change& change, NodeList& nodes) const;
  void erase(std::map<std::uint32_t, std::unique_ptr<Subscription>>::iterator entry);

  Manager& manager_;
  std::map<std::uint32_t, std::unique_ptr<Subscription>> gets_;
  std::map<std::uint32_t, SetUnderWay> sets_;
  std::map<std::uint32_t, std::uint32_t> open_;  // requests of each session
  std::map<Key, std::vector<Subscription*>> watchers_;
  std::uint32_t last_id_ = 0;
};

}  // namespace ox::manager
