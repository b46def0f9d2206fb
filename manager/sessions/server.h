// The sessions of the clients on the manager's pipe.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>

#include "manager/base/settings.h"
#include "manager/sessions/clients.h"
#include "manager/sessions/request.h"
#include "manager/sessions/users.h"
#include "platform/server/pipe_server.h"

namespace ox::manager {

class Session;

inline constexpr OX_RESULT no_descriptors = OX_ERRNO_BASE + 24;

class Server {
 public:
  // What stands above the sessions.
  struct Calls {
    std::function<void(const Request&)> route;
    std::function<void(std::uint32_t session)> end_session;
    // What a client may do; null for one that nobody here knows.
    std::function<RightsPtr(const platform::Peer& peer)> rights_of;
  };
  Server(asio::io_context& loop, const Settings& settings, Clients& clients, Calls calls);
  ~Server();
  // 0, or a platform error: 183 when another process serves the pipe.
  [[nodiscard]] platform::Error start(const char* pipe);

  [[nodiscard]] asio::io_context& loop() const { return loop_; }
  [[nodiscard]] const Settings& settings() const { return settings_; }
  [[nodiscard]] Clients& clients() const { return clients_; }
  void route(const Request& request) const { calls_.route(request); }
  [[nodiscard]] RightsPtr rights_of(const platform::Peer& peer) const { return calls_.rights_of(peer); }
  // Gives a user's connection its seat: 0; 85 when he has too many, 394 when the others are kept for administrators.
  [[nodiscard]] OX_RESULT give_seat(const Rights& rights, Seat& seat) const;
  // Ends a session, with one log line when there is a reason. The session is gone when the event loop comes round.
  void drop(std::uint32_t session, const std::string& reason);
  // Notes that a session's greeting is answered with that code, not with 0.
  void refused(std::uint32_t session, OX_RESULT code);
  // Notes that one is answered with 0.
  void taken();

 private:
  [[nodiscard]] OX_RESULT refusal_of(const platform::PipeConnection& connection) const;
  void watch_messages();
  void give_memory_back();
  void open(std::unique_ptr<platform::PipeConnection>& connection, OX_RESULT refusal);
  void accept(std::unique_ptr<platform::PipeConnection> connection);

  asio::io_context& loop_;
  const Settings& settings_;
  Clients& clients_;
  Calls calls_;
  std::map<std::uint32_t, std::shared_ptr<Session>> sessions_;
  std::uint32_t next_session_ = 1;
  std::deque<std::uint32_t> refused_;  // sessions that are being told, the oldest first
  OX_RESULT refusing_ = OX_OK;         // why the last client was refused; 0 when it was taken
  std::uint64_t refused_in_a_row_ = 0;
  std::unique_ptr<std::byte[]> spare_;  // memory for telling that there is no memory
  asio::steady_timer watch_;            // of messages that begin and do not end
  std::uint64_t let_go_ = 0;            // bytes of clients that have gone since memory was given back
  std::unique_ptr<platform::PipeServer> pipe_;
};

}  // namespace ox::manager
