// The questions that are asked of an agent together, as one list of names, with the requests that carry them.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "manager/snmp/values.h"

namespace ox::manager {

inline const Oid system_uptime{1, 3, 6, 1, 2, 1, 1, 3, 0};

struct AskPlan {
  struct User {
    std::uint32_t question;
    std::size_t slot;
  };
  struct Name {
    Oid path;
    std::string text;
    std::vector<User> users;
  };
  std::vector<std::shared_ptr<const Question>> questions{};
  std::vector<std::vector<std::size_t>> slots{};  // of each question
  std::vector<Name> names{};                      // each once
  bool uptime = false;

  explicit AskPlan(std::vector<std::shared_ptr<const Question>> all);
  // A get of some of the names, in their order; with the agent's own time in front.
  [[nodiscard]] Packet packet(const Agent& agent, std::span<const std::uint32_t> chosen, bool with_uptime);

 private:
  struct Made {
    std::uint32_t first;
    std::size_t count;
    bool uptime;
    std::uint32_t version;
    std::string community;
    Packet packet;
  };
  std::vector<Made> made_{};  // of names that stand together
};

}  // namespace ox::manager
