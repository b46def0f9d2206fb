// The sessions of the clients on the manager's pipe.
#pragma once

#include <asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "manager/requests/manager.h"
#include "platform/server/pipe_server.h"

namespace ox::manager {

class Session;

inline constexpr OX_RESULT no_descriptors = OX_ERRNO_BASE + 24;

class Server {
 public:
  explicit Server(Manager& manager);
  ~Server();
  // 0, or a platform error: 183 when another process serves the pipe.
  [[nodiscard]] platform::Error start(const char* pipe);

  Manager& manager() { return manager_; }
  // Ends a session, with one log line when there is a reason. The session is gone when the event loop comes round.
  void drop(std::uint32_t session, const std::string& reason);
  // Notes that a session's greeting is answered with that code, not with 0.
  void refused(std::uint32_t session, OX_RESULT code);
  // Notes that one is answered with 0.
  void taken();

 private:
  [[nodiscard]] OX_RESULT refusal_of(const platform::PipeConnection& connection) const;
  void open(std::unique_ptr<platform::PipeConnection>& connection, OX_RESULT refusal);
  void accept(std::unique_ptr<platform::PipeConnection> connection);

  Manager& manager_;
  std::map<std::uint32_t, std::shared_ptr<Session>> sessions_;
  std::uint32_t next_session_ = 1;
  std::deque<std::uint32_t> refused_;  // sessions that are being told, the oldest first
  OX_RESULT refusing_ = OX_OK;         // why the last client was refused; 0 when it was taken
  std::uint64_t refused_in_a_row_ = 0;
  std::unique_ptr<std::byte[]> spare_;  // memory for telling that there is no memory
  std::unique_ptr<platform::PipeServer> pipe_;
};

}  // namespace ox::manager
