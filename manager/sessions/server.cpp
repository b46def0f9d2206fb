#include "manager/sessions/server.h"

#include <asio/post.hpp>
#include <new>

#include "manager/base/log.h"
#include "manager/sessions/session.h"

namespace ox::manager {

Server::Server(Manager& manager) : manager_(manager), pipe_(platform::make_pipe_server(manager.loop)) {}

Server::~Server() {
  pipe_.reset();
  manager_.clients.announce_the_end();
  for (const auto& [id, session] : sessions_) session->close();
}

platform::Error Server::start(const char* pipe) {
  return pipe_->serve(pipe,
                      [this](std::unique_ptr<platform::PipeConnection> connection) { accept(std::move(connection)); });
}

void Server::accept(std::unique_ptr<platform::PipeConnection> connection) {
  if (sessions_.size() >= manager_.settings.max_clients) {
    log(Severity::warning, "client refused: " + std::to_string(sessions_.size()) + " clients are connected");
    return;
  }
  while (next_session_ == 0 || sessions_.contains(next_session_)) ++next_session_;
  const std::uint32_t id = next_session_++;
  try {
    const auto session = std::make_shared<Session>(*this, id, std::move(connection));
    sessions_.emplace(id, session);
    session->start();
  } catch (const std::bad_alloc&) {
    sessions_.erase(id);
    log(Severity::error, "client refused: out of memory");
  }
}

void Server::drop(std::uint32_t id, const std::string& reason) {
  const auto found = sessions_.find(id);
  if (found == sessions_.end()) return;
  const auto session = std::move(found->second);
  sessions_.erase(found);
  manager_.end_session(id);
  // The connection may be in the middle of calling one of its handlers.
  asio::post(manager_.loop, [session] { session->close(); });
  if (reason.empty()) return;
  log(Severity::warning, "client of process " + std::to_string(session->process()) + " dropped: " + reason);
}

}  // namespace ox::manager
