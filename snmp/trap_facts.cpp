#include "snmp/trap_facts.h"

#include <cassert>
#include <charconv>
#include <cstdio>
#include <utility>

#include "common/bytes.h"
#include "snmp/bindings.h"

using namespace std::string_view_literals;

namespace ox::snmp {
namespace {

constexpr std::string_view uptime_name = "1.3.6.1.2.1.1.3.0";
constexpr std::string_view identifier_name = "1.3.6.1.6.3.1.1.4.1.0";
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

// The names as they travel.
constexpr std::string_view uptime_bytes = "\x2B\x06\x01\x02\x01\x01\x03\x00"sv;
constexpr std::string_view identifier_bytes = "\x2B\x06\x01\x06\x03\x01\x01\x04\x01\x00"sv;
constexpr std::string_view enterprise_bytes = "\x2B\x06\x01\x06\x03\x01\x01\x04\x03\x00"sv;

std::string_view bytes_of(const ber::Element& element) noexcept {
  return {reinterpret_cast<const char*>(element.content), element.size};
}

// An identifier that has been found, in dotted text.
struct Identifier {
  static constexpr std::size_t longest = 126;  // in bytes on the wire, of those that need no block
  bool found = false;
  std::string_view text;
  data::dnode_ptr node;  // that holds a longer one
  char room[ber::identifier_text_bound(longest)];

  [[nodiscard]] OX_RESULT take(const Binding& binding) noexcept {
    if (binding.value.size > longest) return take_long(binding);
    std::size_t size = 0;
    if (!ber::identifier_text(binding.value, room, size)) return OX_EDECODE;
    found = true;
    text = {room, size};
    return OX_OK;
  }

 private:
  [[nodiscard]] OX_RESULT take_long(const Binding& binding) noexcept {
    const OX_RESULT result = take_binding(binding, Unreadable::refused, node);
    if (result != OX_OK) return result;
    found = true;
    text = {static_cast<const char*>(node->value.bytes), node->value.size - 1};
    return OX_OK;
  }
};

struct Facts {
  std::uint32_t time = 0;
  Identifier trap;
  Identifier enterprise;
};

// The first four bytes of a value, whatever its type: other systems' agents send the time as a counter or a gauge.
OX_RESULT take_time(const Binding& binding, std::uint32_t& time, bool& taken) noexcept {
  if (binding.value.tag == ber::time_ticks) {
    taken = ber::unsigned_of(binding.value, time);
    return taken ? OX_OK : OX_EDECODE;
  }
  data::dnode_ptr node;
  const OX_RESULT result = take_binding(binding, Unreadable::refused, node);
  taken = result == OX_OK && node->has(data::bit::value) && Reader(node->value.bytes, node->value.size).take(time);
  return result;
}

// Takes a binding that carries a fact; of several for one fact the last one counts. `is_fact` is false for the others.
OX_RESULT take_fact(const Binding& binding, Facts& facts, bool& is_fact) noexcept {
  is_fact = false;
  if (binding.name.tag != ber::object_identifier) return OX_OK;
  const std::string_view name = bytes_of(binding.name);
  const bool identifier = binding.value.tag == ber::object_identifier;
  if (name == uptime_bytes) return take_time(binding, facts.time, is_fact);
  if (identifier && name == identifier_bytes) {
    is_fact = true;
    return facts.trap.take(binding);
  } else if (identifier && name == enterprise_bytes) {
    is_fact = true;
    return facts.enterprise.take(binding);
  }
  return OX_OK;
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

// The trap in the terms of version 1.
OX_RESULT take_terms(const Facts& facts, oxsSnmpTrap& trap, tracked_ptr<char[]>& enterprise) noexcept {
  if (!facts.trap.found) return copy_enterprise({}, enterprise);
  std::string_view text = split_identifier(facts.trap.text, trap);
  const bool generic = facts.trap.text.starts_with(standard_prefix);
  if (generic && facts.enterprise.found && !facts.enterprise.text.empty()) text = facts.enterprise.text;
  return copy_enterprise(text, enterprise);
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

OX_RESULT take_trap_bindings(const ber::Element& element, data::dnode_ptr& list, oxsSnmpTrap& trap,
                             tracked_ptr<char[]>& enterprise) noexcept {
  trap.agentAddress = 0;
  trap.genericTrap = 0;
  trap.specificTrap = 0;
  Facts facts;
  BindingList others;
  ber::ElementReader bindings(element);
  while (!bindings.at_end()) {
    ber::Element field;
    Binding binding;
    if (!bindings.next(field) || !open_binding(field, binding)) return OX_EDECODE;
    bool is_fact = false;
    data::dnode_ptr node;
    OX_RESULT result = take_fact(binding, facts, is_fact);
    if (result == OX_OK && !is_fact) result = take_binding(binding, Unreadable::refused, node);
    if (result != OX_OK) return result;
    if (node) others.add(std::move(node));
  }
  list = others.take();
  trap.timeStamp = facts.time;
  return take_terms(facts, trap, enterprise);
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
