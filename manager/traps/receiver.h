// Traps and informs from the network, as events.
//
// A batch of datagrams is taken in one turn of the event loop, and the loop serves everybody else before the next one.
// What the manager cannot take in time waits in the socket's buffer, and is counted there when that is full.
#pragma once

#include <asio/ip/udp.hpp>
#include <cstdint>
#include <span>
#include <string>

#include "manager/base/fault_list.h"
#include "manager/base/settings.h"
#include "manager/components/agent_index.h"
#include "manager/events/log.h"
#include "manager/traps/actions.h"
#include "manager/traps/books.h"
#include "manager/traps/buckets.h"
#include "manager/traps/definitions.h"
#include "manager/traps/losses.h"
#include "manager/traps/repeat_events.h"
#include "manager/traps/sources.h"
#include "platform/server/datagrams.h"

namespace ox::manager {

class TrapReceiver {
 public:
  TrapReceiver(asio::io_context& loop, const Settings& settings, const AgentIndex& agents, EventLog& events,
               TrapBooks& books, FaultList& faults, Programs& programs);

  // Receives on the port of the settings. When that cannot be done, an event and a line in the log say so.
  void start();
  // Tells what has not been told yet. The event log is flushed.
  void end();

 private:
  [[nodiscard]] asio::error_code bind(const asio::ip::udp::endpoint& at);
  void wait();
  void receive();
  void take(std::span<const std::byte> datagram, const asio::ip::udp::endpoint& sender);
  void refuse(std::span<const std::byte> datagram, const asio::ip::udp::endpoint& sender);
  [[nodiscard]] std::uint32_t agent_for(const oxsSnmpTrap& trap, const asio::ip::udp::endpoint& sender) const;
  // What is to be done when an event is safe: an inform answered, a program run.
  struct Follow {
    Bytes answer;
    asio::ip::udp::endpoint sender;
    std::string action;
  };
  EventRef submit(EventPtr event, bool listed, Origin origin, Follow follow);
  void act(const std::string& action, const Bytes& body);
  void answer(const Bytes& bytes, const asio::ip::udp::endpoint& to);
  void answer_when_safe(Bytes bytes, const asio::ip::udp::endpoint& to);
  void count_overflow();

  const Settings& settings_;
  const AgentIndex& agents_;
  EventLog& events_;
  TrapBooks& books_;
  FaultList& faults_;
  TrapDefinitions definitions_;
  TrapSources sources_;
  TrapBuckets buckets_;
  asio::ip::udp::socket socket_;
  bool waiting_ = false;
  platform::DatagramBatch batch_;
  TrapActions actions_;
  std::uint32_t dropped_ = 0;  // by the system, as it counts
  TrapLosses losses_;
  RepeatEvents repeats_;
};

}  // namespace ox::manager
