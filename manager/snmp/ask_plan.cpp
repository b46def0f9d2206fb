#include "manager/snmp/ask_plan.h"

#include <unordered_map>

#include "manager/snmp/binding.h"

namespace ox::manager {
namespace {

constexpr std::size_t most_made = 64;

}  // namespace

AskPlan::AskPlan(std::vector<std::shared_ptr<const Question>> all) : questions(std::move(all)) {
  std::unordered_map<std::string, std::size_t> places;
  for (std::uint32_t number = 0; number < questions.size(); ++number) {
    const Question& question = *questions[number];
    uptime = uptime || question.uptime;
    slots.push_back(slots_of(question.wanted));
    for (const Wanted& wanted : question.wanted) {
      std::string text = oid_text(wanted.path);
      const auto [place, fresh] = places.try_emplace(text, names.size());
      if (fresh) names.push_back({wanted.path, std::move(text), {}});
      names[place->second].users.push_back({number, wanted.slot});
    }
  }
}

Packet AskPlan::packet(const Agent& agent, std::span<const std::uint32_t> chosen, bool with_uptime) {
  const bool together = !chosen.empty() && chosen.back() - chosen.front() + 1 == chosen.size();
  if (together) {
    for (const Made& made : made_) {
      if (made.first == chosen.front() && made.count == chosen.size() && made.uptime == with_uptime &&
          made.version == agent.version && made.community == agent.read_community) {
        return made.packet;
      }
    }
  }
  std::vector<Wanted> wanted;
  wanted.reserve(chosen.size() + 1);
  if (with_uptime) wanted.push_back({system_uptime});
  for (const std::uint32_t name : chosen) wanted.push_back({names[name].path});
  Packet packet = make_packet(agent, {OXS_GET}, null_bindings(wanted));
  if (together && made_.size() == most_made) made_.erase(made_.begin());
  if (together) {
    made_.push_back({chosen.front(), chosen.size(), with_uptime, agent.version, agent.read_community, packet});
  }
  return packet;
}

}  // namespace ox::manager
