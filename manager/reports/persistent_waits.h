// Persistent waits: events delivered one at a time, in order, each until it is taken. What a wait has taken is known by
// its name and survives the client, its session and the manager.
//
// A client has at most one delivery that it has not answered, whichever of its waits that is for: it runs one callback
// at a time, so that others could only be put off, and an answer names its delivery by the low half of an event's
// number, which those of two waits may have in common.
#pragma once

#include <asio/io_context.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "manager/events/log.h"
#include "manager/reports/event_sight.h"
#include "manager/sessions/clients.h"

namespace ox::manager {

class PersistentWait;

class PersistentWaits {
 public:
  PersistentWaits(asio::io_context& loop, const Settings& settings, const Vocabulary& vocabulary, EventLog& events,
                  Clients& clients);
  ~PersistentWaits();
  PersistentWaits(const PersistentWaits&) = delete;
  PersistentWaits& operator=(const PersistentWaits&) = delete;

  // Opens the wait for a session, which knows it by `user_word`. A new name begins with the next event.
  // 0 and the wait's id; 195, 418 for the name; 207 when a session has it open; 85 when the session has too many,
  // or when the installation has as many names as it may (MaxWaitNames).
  [[nodiscard]] OX_RESULT open(std::uint32_t session, const std::string& name, std::uint32_t user_word,
                               RightsPtr rights, std::uint32_t& id);
  // One of the session's, or `any` one. The session that had it; nothing when there is no such wait.
  std::optional<std::uint32_t> close(std::uint32_t id, std::uint32_t asking, bool any);
  void end_session(std::uint32_t session);

  // Whether it is the name of a closed wait on that user's account. It is a registration of who made it, until it is
  // opened or forgotten; one of which that is not known, of who opens it.
  [[nodiscard]] bool counts_for(const User& user, const std::string& name) const;
  // Those that a user has left from before the manager's start.
  void count_for(const std::shared_ptr<User>& user);

  // Whether the client owes an answer.
  [[nodiscard]] bool unanswered(std::uint32_t session) const { return unanswered_.contains(session); }
  // A delivery is handed out.
  void delivered(PersistentWait& wait);
  // The client takes or refuses the delivery with that number. One of an unknown number is passed over.
  void answer(std::uint32_t session, std::uint32_t number, bool taken);

 private:
  struct Delivery {
    std::string name;
    Sequence sequence = 0;
    PersistentWait* wait = nullptr;  // null: closed since, perhaps in the callback, which is still to be heard
  };

  // Of a name.
  struct Maker {
    std::shared_ptr<User> user;  // null: he has not come since the manager started
    bool counted = false;        // on his account: the wait is closed
    void count(bool counts);
  };

  void take(const Delivery& delivery);
  void leave(PersistentWait& wait);
  void forget(const std::string& name);

  asio::io_context& loop_;
  const Settings& settings_;
  const Vocabulary& vocabulary_;
  EventLog& events_;
  Clients& clients_;
  std::map<std::uint32_t, std::shared_ptr<PersistentWait>> waits_;
  std::map<std::string, PersistentWait*> by_name_;
  std::map<std::string, Maker> makers_;
  std::map<std::uint32_t, Delivery> unanswered_;  // of each session that owes an answer
  std::uint32_t last_id_ = 0;
};

}  // namespace ox::manager
