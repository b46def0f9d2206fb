// Values that change without the manager's doing, looked for again and again.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "manager/base/selection.h"
#include "manager/snmp/value_reader.h"

namespace ox::manager {

// Whether any of the selected attributes has its values from agents.
[[nodiscard]] bool selects_of_agents(const std::vector<Selection>& selections);

class Poller : public std::enable_shared_from_this<Poller> {
 public:
  struct Question {
    std::uint32_t session = 0;
    RightsPtr rights;
    std::string component;
    std::string names;
    std::chrono::seconds interval{0};  // 0: asked once
  };
  // What of an answer is told.
  enum class Mode : std::uint8_t { everything, nothing, changes };
  // 0, 121 when a node carries an error code, or why there are no values at all.
  using Tell = std::function<void(OX_RESULT result, const NodeList& nodes)>;

  Poller(asio::io_context& loop, const ValueReader& reader, Question question, Tell tell)
      : timer_(loop), reader_(reader), question_(std::move(question)), tell_(std::move(tell)) {}

  // Asks, and again after each interval, for changes then. It stops when nobody holds the poller any more.
  void ask(Mode mode);
  // An agent's value has been told by others: no later answer is to tell it again, nor one that is under way.
  void told(const dnode* node);

 private:
  using Contents = std::map<std::string, std::string>;  // of a value, by its component and attribute

  void answered(Mode mode, OX_RESULT result, NodeList nodes);
  // The nodes of an answer that are to be told; `now` gets the agents' values, `result` 121 for one with an error.
  [[nodiscard]] NodeList news(Mode mode, NodeList nodes, Contents& now, OX_RESULT& result) const;
  void ask_later();

  asio::steady_timer timer_;
  const ValueReader& reader_;
  Question question_;
  Tell tell_;
  Contents known_;      // as they were told last
  Contents meanwhile_;  // told by others since the last question, whose answer may not have seen them
};

}  // namespace ox::manager
