#include "manager/sessions/server.h"

#include <asio/post.hpp>
#include <new>
#include <utility>
#include <vector>

#include "manager/base/log.h"
#include "manager/sessions/session.h"
#include "platform/server/resident_memory.h"

namespace ox::manager {
namespace {

constexpr std::size_t most_refused = 64;  // that are being told at once; the oldest goes then
constexpr std::size_t spare_bytes = 64u << 10;
constexpr std::uint32_t share_of_administrators = 16;  // one of so many connections is kept for them
constexpr std::uint64_t worth_giving_back = 1u << 20;

}  // namespace

Server::Server(asio::io_context& loop, const Settings& settings, Clients& clients, Calls calls)
    : loop_(loop),
      settings_(settings),
      clients_(clients),
      calls_(std::move(calls)),
      watch_(loop),
      pipe_(platform::make_pipe_server(loop)) {}

Server::~Server() {
  pipe_.reset();
  clients_.announce_the_end();
  for (const auto& [id, session] : sessions_) session->close();
}

platform::Error Server::start(const char* pipe) {
  watch_messages();
  return pipe_->serve(pipe,
                      [this](std::unique_ptr<platform::PipeConnection> connection) { accept(std::move(connection)); });
}

// Once a second, what the clients have left undone and left behind.
void Server::watch_messages() {
  watch_.expires_after(std::chrono::seconds(1));
  watch_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    watch_messages();  // first: it goes on when there is no memory for the rest
    const auto oldest = std::chrono::steady_clock::now() - std::chrono::seconds(settings_.message_timeout);
    std::vector<std::uint32_t> late;
    for (const auto& [id, session] : sessions_) {
      if (session->in_message_since(oldest)) late.push_back(id);
    }
    for (const std::uint32_t id : late) drop(id, "a message that it began did not end in time (MessageTimeout)");
    give_memory_back();
  });
}

void Server::give_memory_back() {
  if (std::exchange(let_go_, 0) >= worth_giving_back) platform::give_memory_back();
}

OX_RESULT Server::give_seat(const Rights& rights, Seat& seat) const {
  User& user = rights.user();
  const std::uint32_t kept = settings_.max_clients / share_of_administrators;
  const bool full = sessions_.size() - refused_.size() > settings_.max_clients - kept;
  if (full && !rights.may_anywhere(Role::administer)) {
    user.refused("a connection", "the last ones that MaxClients allows are kept for administrators");
    return OX_ECLIENTS;
  }
  if (user.holds.connections >= settings_.user_clients) {
    user.refused("a connection", "there are as many of him as UserClients allows");
    return OX_ETOOMANY;
  }
  seat.take(rights.shared_user());
  return OX_OK;
}

OX_RESULT Server::refusal_of(const platform::PipeConnection& connection) const {
  if (connection.from_reserve()) return no_descriptors;
  const bool full = sessions_.size() - refused_.size() >= settings_.max_clients;
  return full ? OX_RESULT{OX_ECLIENTS} : OX_RESULT{OX_OK};
}

void Server::accept(std::unique_ptr<platform::PipeConnection> connection) {
  try {
    if (!spare_) spare_ = std::make_unique<std::byte[]>(spare_bytes);
    return open(connection, refusal_of(*connection));
  } catch (const std::bad_alloc&) {
    spare_.reset();
  }
  try {
    if (connection) open(connection, OX_ENOMEM);
  } catch (const std::bad_alloc&) {
    log(Severity::error, "a client is hung up on: there is not even memory to tell it so");
  }
}

// Takes over the connection, unless it throws.
void Server::open(std::unique_ptr<platform::PipeConnection>& connection, OX_RESULT refusal) {
  while (next_session_ == 0 || sessions_.contains(next_session_)) ++next_session_;
  const std::uint32_t id = next_session_++;
  const auto session = std::make_shared<Session>(*this, id, refusal);
  sessions_.emplace(id, session);
  try {
    if (refusal != OX_OK) refused(id, refusal);
  } catch (const std::bad_alloc&) {
    sessions_.erase(id);
    throw;
  }
  session->start(std::move(connection));
}

void Server::refused(std::uint32_t session, OX_RESULT code) {
  refused_.push_back(session);
  ++refused_in_a_row_;
  if (code == OX_ETOOMANY || code == OX_EDENIED) {  // the user's own affair, and logged as such
  } else if (std::exchange(refusing_, code) != code) {
    log(Severity::warning, code == OX_ECLIENTS      ? "clients are refused: there are as many as MaxClients allows"
                           : code == no_descriptors ? "clients are refused: the system gives no more descriptors"
                                                    : "clients are refused: there is not enough memory");
  }
  if (refused_.size() > most_refused) drop(refused_.front(), {});
}

void Server::taken() {
  if (std::exchange(refusing_, OX_RESULT{OX_OK}) == OX_OK) return;
  const std::uint64_t count = std::exchange(refused_in_a_row_, 0);
  log(Severity::information, "clients are taken again; refused: " + std::to_string(count));
}

void Server::drop(std::uint32_t id, const std::string& reason) {
  const auto found = sessions_.find(id);
  if (found == sessions_.end()) return;
  const auto session = std::move(found->second);
  sessions_.erase(found);
  std::erase(refused_, id);
  let_go_ += session->held() + sizeof(Session);
  calls_.end_session(id);
  // The connection may be in the middle of calling one of its handlers: it bears that, but this is kinder.
  try {
    asio::post(loop_, [session] { session->close(); });
  } catch (const std::bad_alloc&) {
    session->close();
  }
  if (reason.empty()) return;
  log(Severity::warning, "client of process " + std::to_string(session->process()) + " dropped: " + reason);
}

}  // namespace ox::manager
