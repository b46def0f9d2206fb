// Traps and informs from the network, as events.
//
// A batch of datagrams is taken in one turn of the event loop, and the loop serves everybody else before the next one.
// What the manager cannot take in time waits in the socket's buffer, and is counted there when that is full.
#pragma once

#include <asio/ip/udp.hpp>
#include <asio/steady_timer.hpp>
#include <cstdint>
#include <span>
#include <string>

#include "manager/requests/manager.h"
#include "manager/traps/actions.h"
#include "manager/traps/definitions.h"
#include "manager/traps/repeats.h"
#include "platform/server/datagrams.h"

namespace ox::manager {

class TrapReceiver {
 public:
  explicit TrapReceiver(Manager& manager);

  // Receives on the port of the settings. When that cannot be done, an event and a line in the log say so.
  void start();
  // Tells what has not been told yet. The event log is flushed.
  void end();

 private:
  [[nodiscard]] asio::error_code bind(const asio::ip::udp::endpoint& at);
  void wait();
  void receive();
  void take(std::span<const std::byte> datagram, const asio::ip::udp::endpoint& sender);
  void refuse(const asio::ip::udp::endpoint& sender);
  // What is to be done when an event is safe: an inform answered, a program run.
  struct Follow {
    Bytes answer;
    asio::ip::udp::endpoint sender;
    std::string action;
  };
  Sequence submit(EventPtr event, bool listed, Follow follow);
  void act(const std::string& action, const Bytes& body);
  void answer(const Bytes& bytes, const asio::ip::udp::endpoint& to);
  void answer_when_safe(Bytes bytes, const asio::ip::udp::endpoint& to);
  void tell_repeats_later();
  void tell_repeats(std::size_t most, TrapRepeats::Clock::time_point now);
  void tell(const TrapRepeats::Told& repeats);
  void count_overflow();
  void tell_losses_later();
  void tell_losses();
  void tell(std::uint32_t level, const std::string& summary, const std::string& detail, EventLog::Done done);

  Manager& manager_;
  TrapDefinitions definitions_;
  TrapRepeats repeats_;
  asio::ip::udp::socket socket_;
  bool waiting_ = false;
  platform::DatagramBatch batch_;
  TrapActions actions_;
  TrapBooks& books_;           // the manager's
  std::uint32_t dropped_ = 0;  // by the system, as it counts
  asio::steady_timer repeat_timer_;
  bool repeats_due_ = false;
  asio::steady_timer loss_timer_;
  bool losses_due_ = false;
  std::chrono::steady_clock::time_point last_loss_report_{};
  TrapBooks told_;  // losses have been told up to here
  std::string malformed_from_;
  std::string action_fault_;
};

}  // namespace ox::manager
