// The connected clients, as those see them who report to them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "manager/sessions/outbox.h"
#include "platform/server/pipe_server.h"

namespace ox::manager {

class Clients {
 public:
  Clients(std::size_t most_report_bytes, const std::uint32_t& most_bytes_of_user)
      : most_report_bytes_(most_report_bytes), most_bytes_of_user_(most_bytes_of_user) {}

  // The announcer may be null: the client's reports are not announced then.
  void open(std::uint32_t session, std::uint32_t process, std::shared_ptr<User> user,
            std::unique_ptr<platform::Announcer> announcer);
  // Of a client without announcer too: it fetches unasked, or not at all.
  [[nodiscard]] Outbox& outbox(std::uint32_t session);
  // Called with the process of every client that opens from now on.
  void on_open(std::function<void(std::uint32_t process)> call) { on_open_ = std::move(call); }
  [[nodiscard]] bool none() const { return clients_.empty(); }
  [[nodiscard]] bool has(std::uint32_t session) const { return clients_.contains(session); }
  // Bytes of reports that it has not fetched.
  [[nodiscard]] std::size_t report_bytes(std::uint32_t session) const;
  // One line in the log about a client that loses reports.
  void warn_of_loss(std::uint32_t session) const;
  // A client whose connection is about to go is told to look.
  void end_session(std::uint32_t session);
  void announce_the_end();

 private:
  struct Client {
    Client(std::size_t most_bytes, const std::uint32_t& most_of_user)
        : outbox([this] { announce(); }, most_bytes, most_of_user) {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    void announce() {
      if (announcer != nullptr) announcer->announce();
    }

    std::uint32_t process = 0;
    std::unique_ptr<platform::Announcer> announcer;
    Outbox outbox;
  };
  [[nodiscard]] Client& client(std::uint32_t session);

  std::size_t most_report_bytes_;
  const std::uint32_t& most_bytes_of_user_;
  std::function<void(std::uint32_t process)> on_open_;
  std::map<std::uint32_t, Client> clients_;
};

}  // namespace ox::manager
