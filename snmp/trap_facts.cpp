#include "snmp/trap_facts.h"

#include <cassert>
#include <charconv>
#include <cstdio>

#include "common/bytes.h"

namespace ox::snmp {
namespace {

constexpr std::string_view uptime_name = "1.3.6.1.2.1.1.3.0";
constexpr std::string_view identifier_name = "1.3.6.1.6.3.1.1.4.1.0";
constexpr std::string_view enterprise_name = "1.3.6.1.6.3.1.1.4.3.0";
// Compared as text: "1.3.6.1.6.3.1.1.55" counts as standard, and peers rely on the pair of conversions.
constexpr std::string_view standard_prefix = "1.3.6.1.6.3.1.1.5";
static_assert(standard_prefix.size() == 17);

constexpr std::uint32_t enterprise_specific = 6;

[[nodiscard]] OX_RESULT put_identifier_binding(ber::ReverseWriter& out, const oxsSnmpTrap& trap,
                                               std::string_view enterprise) noexcept {
  const bool standard = enterprise.starts_with(standard_prefix);
  const std::uint32_t last = standard ? trap.genericTrap + 1 : trap.specificTrap;
  char text[enterprise_limit + 16];
  // Signed: a number that version 1 could not carry either gives a malformed identifier.
  const int size =
      std::snprintf(text, sizeof text, standard ? "%s.%d" : "%s.0.%d", trap.enterprise, static_cast<int>(last));
  const std::size_t before = out.size();
  if (!out.put_identifier({text, static_cast<std::size_t>(size)})) return OX_EENCODE;
  (void)out.put_identifier(identifier_name);
  out.close(ber::sequence, before);
  return OX_OK;
}

std::string_view text_of(const data::Text& text) noexcept {
  return text.text != nullptr ? std::string_view(text.text, text.size - 1) : std::string_view();
}

// The first four bytes, whatever the type: other systems' agents send the time as a counter or a gauge.
bool take_time(const dnode& node, std::uint32_t& time) noexcept {
  return node.has(data::bit::value) && Reader(node.value.bytes, node.value.size).take(time);
}

data::dnode_ptr unlink(data::dnode_ptr& list, dnode* node) noexcept {
  dnode* head = list.release();
  (void)oxcQueueDel(&head, node);
  list.reset(head);
  return data::dnode_ptr(node);
}

struct Identifiers {
  data::dnode_ptr trap;
  data::dnode_ptr enterprise;
};

// Takes the node out of the list if it carries a fact; of several for one fact the last one counts.
void take_fact(data::dnode_ptr& list, dnode* node, Identifiers& identifiers, std::uint32_t& time) noexcept {
  const std::string_view name = text_of(node->amib_name);
  const bool identifier = node->has(data::bit::value) && node->value.type == OX_OBJECTID;
  if (name == uptime_name) {
    if (take_time(*node, time)) (void)unlink(list, node);
  } else if (identifier && name == identifier_name) {
    identifiers.trap = unlink(list, node);
  } else if (identifier && name == enterprise_name) {
    identifiers.enterprise = unlink(list, node);
  }
}

std::string_view identifier_of(const dnode& node) noexcept {
  return {static_cast<const char*>(node.value.bytes), node.value.size - 1};
}

// Takes the last number off; the empty text has none, and gives 0.
std::uint32_t cut_last_arc(std::string_view& text) noexcept {
  const std::size_t dot = text.rfind('.');
  const std::string_view digits = dot == std::string_view::npos ? text : text.substr(dot + 1);
  std::uint32_t arc = 0;
  (void)std::from_chars(digits.data(), digits.data() + digits.size(), arc);
  text = text.substr(0, dot == std::string_view::npos ? 0 : dot);
  return arc;
}

// Sets the numbers from the identifier, and gives what is left of it as the enterprise.
std::string_view split_identifier(std::string_view identifier, oxsSnmpTrap& trap) noexcept {
  if (identifier.starts_with(standard_prefix)) {
    // A last number of 0 wraps: no generic trap has that number, so nothing is mistaken for one.
    trap.genericTrap = cut_last_arc(identifier) - 1;
    trap.specificTrap = 0;
    return identifier;
  }
  trap.genericTrap = enterprise_specific;
  trap.specificTrap = cut_last_arc(identifier);
  std::string_view shorter = identifier;
  return cut_last_arc(shorter) == 0 ? shorter : identifier;
}

}  // namespace

OX_RESULT put_trap_facts(ber::ReverseWriter& out, const oxsSnmpTrap& trap) noexcept {
  const std::string_view enterprise = trap.enterprise != nullptr ? trap.enterprise : "";
  if (!enterprise.empty() && enterprise.size() < enterprise_limit) {
    const OX_RESULT result = put_identifier_binding(out, trap, enterprise);
    if (result != OX_OK) return result;
  }
  const std::size_t before = out.size();
  const std::uint32_t time = big_endian(trap.timeStamp);
  unsigned char bytes[sizeof time];
  std::memcpy(bytes, &time, sizeof time);
  out.put_unsigned(ber::time_ticks, bytes, sizeof bytes);
  (void)out.put_identifier(uptime_name);
  out.close(ber::sequence, before);
  return OX_OK;
}

OX_RESULT take_trap_facts(data::dnode_ptr& list, oxsSnmpTrap& trap, tracked_ptr<char[]>& enterprise) noexcept {
  trap.agentAddress = 0;
  trap.genericTrap = 0;
  trap.specificTrap = 0;
  trap.timeStamp = 0;
  enterprise.reset();
  Identifiers identifiers;
  for (dnode* node = list.get(); node != nullptr;) {
    dnode* const next = node->next;
    take_fact(list, node, identifiers, trap.timeStamp);
    node = next;
  }
  if (!identifiers.trap) return OX_OK;
  std::string_view text = split_identifier(identifier_of(*identifiers.trap), trap);
  const bool generic = identifier_of(*identifiers.trap).starts_with(standard_prefix);
  if (generic && identifiers.enterprise && !identifier_of(*identifiers.enterprise).empty()) {
    text = identifier_of(*identifiers.enterprise);
  }
  return copy_enterprise(text, enterprise);
}

OX_RESULT copy_enterprise(std::string_view text, tracked_ptr<char[]>& enterprise) noexcept {
  enterprise.reset();
  if (text.empty()) return OX_OK;
  auto copy = make_tracked_array<char>(static_cast<std::uint32_t>(text.size()) + 1, "snmp_enterprise");
  if (!copy) return OX_ENOMEM;
  std::memcpy(copy.get(), text.data(), text.size());
  copy[text.size()] = '\0';
  enterprise = std::move(copy);
  return OX_OK;
}

}  // namespace ox::snmp
