#include "manager/sessions/clients.h"

#include <utility>

#include "manager/base/log.h"

namespace ox::manager {

Clients::Client& Clients::client(std::uint32_t session) {
  return clients_.try_emplace(session, most_report_bytes_).first->second;
}

void Clients::open(std::uint32_t session, std::uint32_t process, const std::string& event_name) {
  Client& opened = client(session);
  opened.process = process;
  opened.event_name = event_name;
}

Outbox& Clients::outbox(std::uint32_t session) { return client(session).outbox; }

void Clients::warn_of_loss(std::uint32_t session) const {
  const auto found = clients_.find(session);
  const std::uint32_t process = found == clients_.end() ? 0 : found->second.process;
  log(Severity::warning,
      "client of process " + std::to_string(process) + " does not fetch its reports: some of them are lost");
}

void Clients::Client::announce() {
  if (!event && !event_name.empty()) {
    if (const auto error = event.open(std::exchange(event_name, {}).c_str())) {
      log(Severity::warning, "the event of process " + std::to_string(process) +
                                 " cannot be opened, so its reports are not announced: " + std::to_string(error));
    }
  }
  event.set();
}

}  // namespace ox::manager
