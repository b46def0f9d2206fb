#include "manager/sessions/clients.h"

#include "manager/base/log.h"

namespace ox::manager {

Clients::Client& Clients::client(std::uint32_t session) {
  return clients_.try_emplace(session, most_report_bytes_, most_bytes_of_user_).first->second;
}

void Clients::open(std::uint32_t session, std::uint32_t process, std::shared_ptr<User> user,
                   std::unique_ptr<platform::Announcer> announcer) {
  Client& opened = client(session);
  opened.process = process;
  opened.announcer = std::move(announcer);
  opened.outbox.set_user(std::move(user));
  if (on_open_) on_open_(process);
}

Outbox& Clients::outbox(std::uint32_t session) { return client(session).outbox; }

std::size_t Clients::report_bytes(std::uint32_t session) const {
  const auto found = clients_.find(session);
  return found == clients_.end() ? 0 : found->second.outbox.bytes();
}

void Clients::warn_of_loss(std::uint32_t session) const {
  const auto found = clients_.find(session);
  const std::uint32_t process = found == clients_.end() ? 0 : found->second.process;
  log(Severity::warning,
      "client of process " + std::to_string(process) + " does not fetch its reports: some of them are lost");
}

void Clients::end_session(std::uint32_t session) {
  const auto found = clients_.find(session);
  if (found == clients_.end()) return;
  found->second.announce();
  clients_.erase(found);
}

void Clients::announce_the_end() {
  for (auto& [session, client] : clients_) client.announce();
}

}  // namespace ox::manager
