// The sessions of the clients on the manager's pipe.
#pragma once

#include <asio/io_context.hpp>
#include <map>
#include <memory>

#include "manager/requests/manager.h"
#include "platform/server/pipe_server.h"

namespace ox::manager {

class Session;

class Server {
 public:
  explicit Server(Manager& manager);
  ~Server();
  // 0, or a platform error: 183 when another process serves the pipe.
  [[nodiscard]] platform::Error start(const char* pipe);

  Manager& manager() { return manager_; }
  // Ends a session, with one log line when there is a reason. The session is gone when the event loop comes round.
  void drop(std::uint32_t session, const std::string& reason);

 private:
  void accept(std::unique_ptr<platform::PipeConnection> connection);

  Manager& manager_;
  std::map<std::uint32_t, std::shared_ptr<Session>> sessions_;
  std::uint32_t next_session_ = 1;
  std::unique_ptr<platform::PipeServer> pipe_;
};

}  // namespace ox::manager
