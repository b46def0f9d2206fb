// The connected clients, as those see them who report to them.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "manager/reports/outbox.h"
#include "platform/named_event.h"

namespace ox::manager {

class Clients {
 public:
  explicit Clients(std::size_t most_report_bytes) : most_report_bytes_(most_report_bytes) {}

  // Tells the event that announces a client's reports; opened at the first of them.
  void open(std::uint32_t session, std::uint32_t process, const std::string& event_name);
  // Of a client without event too: it fetches unasked, or not at all.
  [[nodiscard]] Outbox& outbox(std::uint32_t session);
  [[nodiscard]] bool has(std::uint32_t session) const { return clients_.contains(session); }
  // One line in the log about a client that loses reports.
  void warn_of_loss(std::uint32_t session) const;
  void end_session(std::uint32_t session) { clients_.erase(session); }

 private:
  struct Client {
    explicit Client(std::size_t most_bytes) : outbox([this] { announce(); }, most_bytes) {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    void announce();

    std::uint32_t process = 0;
    std::string event_name;
    platform::NamedEvent event;
    Outbox outbox;
  };
  [[nodiscard]] Client& client(std::uint32_t session);

  std::size_t most_report_bytes_;
  std::map<std::uint32_t, Client> clients_;
};

}  // namespace ox::manager
