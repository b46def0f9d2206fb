#include "manager/traps/event.h"

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <span>

namespace ox::manager {
namespace {

constexpr char trap_address_path[] = "1.3.6.1.6.3.18.1.3.0";  // snmpTrapAddress.0 (RFC 3584, 3.1)
constexpr std::uint32_t unknown_severity = 1;
constexpr std::size_t longest_identifier = 65000;  // characters: the summary has a few words beside it

constexpr std::array generic_names{"coldStart",      "warmStart", "linkDown", "linkUp", "authenticationFailure",
                                   "egpNeighborLoss"};

const dnode* binding_of(const oxsSnmpTrap& trap, const char* path) {
  const dnode* node = trap.bindings;
  const char* name = nullptr;
  while (node != nullptr && (oxdGetAmibName(node, &name) != OX_OK || std::strcmp(name, path) != 0))
    node = oxdNext(node);
  return node;
}

// A definition's detail for a trap. All of the bindings for one that nothing defines.
void set_detail(evmsg* event, const oxsSnmpTrap& trap, const oxcTrTag* definition) {
  static char everything[] = "*%allleaf*";
  static const oxcTrTag unknown = [] {
    oxcTrTag tag{};
    tag.detail = everything;
    return tag;
  }();
  char* text = nullptr;
  require(oxcTrReMakeDetail(definition != nullptr ? definition : &unknown, trap.bindings, &text));
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(text, oxcMemFree);
  std::string memo = text;
  if (definition != nullptr && definition->deal != nullptr && *definition->deal != '\0') {
    if (!memo.empty()) memo += '\n';
    memo += definition->deal;
  }
  require(oxeEvmsgSetMemo(event, memo.c_str()));
}

std::string unknown_summary(const oxsSnmpTrap& trap) {
  std::string text = "unknown trap: ";
  if (trap.enterprise == nullptr) return text + "it carries no identifier";
  if (trap.genericTrap < generic_names.size()) return text + generic_names[trap.genericTrap] + " of " + trap.enterprise;
  return text + std::to_string(trap.specificTrap) + " of " + trap.enterprise;
}

void set_definition(evmsg* event, const oxsSnmpTrap& trap, const oxcTrTag* definition) {
  const std::uint32_t severity = definition != nullptr ? definition->severity : unknown_severity;
  require(oxeEvmsgSetEventType(event, OX_EVENT_TRAP | OX_EVENT_LEVELLED | severity));
  if (definition == nullptr) {
    require(oxeEvmsgSetFlag(event, unknown_trap_flag));
    return require(oxeEvmsgSetOptMsg(event, unknown_summary(trap).c_str()));
  }
  if (definition->eventId != 0) require(oxeEvmsgSetEventId(event, definition->eventId));
  require(oxeEvmsgSetOptMsg(event, definition->summary));
  require(oxeEvmsgSetSender(event, definition->source));
}

// A community is bytes; the field is a text.
void set_community(evmsg* event, const oxsSnmpTrap& trap) {
  const std::string text(reinterpret_cast<const char*>(trap.community), trap.communityLength);
  require(oxeEvmsgSetSnmpCommName(event, text.c_str()));
}

// Seconds since 1970 from a binding; 0 when it is not there or no number.
std::uint32_t time_of(const oxsSnmpTrap& trap, const char* path) {
  std::uint32_t time = 0;
  const dnode* node = path == nullptr ? nullptr : binding_of(trap, path);
  return node != nullptr && oxdGetValueByUlong(node, &time) == OX_OK ? time : 0;
}

// The trap's time stamp, and the times of occurrence and recovery where its bindings carry them.
void set_times(evmsg* event, const oxsSnmpTrap& trap, const oxcTrTag* definition) {
  require(oxeEvmsgSetSnmpTimeStamp(event, trap.timeStamp));
  if (definition == nullptr) return;
  if (const std::uint32_t time = time_of(trap, definition->timeStamp[0])) require(oxeEvmsgSetOccurTime(event, time));
  if (const std::uint32_t time = time_of(trap, definition->timeStamp[1])) require(oxeEvmsgSetRecoverTime(event, time));
}

}  // namespace

std::uint32_t agent_of(const oxsSnmpTrap& trap, std::uint32_t sender) {
  std::uint32_t address = trap.agentAddress;
  if (address == 0) {
    const dnode* const node = binding_of(trap, trap_address_path);
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    const void* value = nullptr;
    if (node != nullptr && oxdGetValue(node, &type, &size, &value) == OX_OK && type == OX_IPADDRESS &&
        size == sizeof address) {
      std::memcpy(&address, value, sizeof address);
    }
  }
  return address != 0 ? address : sender;
}

bool fits_an_event(const oxsSnmpTrap& trap) {
  bool fits = trap.enterprise == nullptr || std::strlen(trap.enterprise) <= longest_identifier;
  for (const dnode* node = trap.bindings; node != nullptr && fits; node = oxdNext(node)) {
    const char* name = nullptr;
    fits = oxdGetAmibName(node, &name) != OX_OK || std::strlen(name) <= longest_identifier;
  }
  return fits;
}

EventPtr make_trap_event(const oxsSnmpTrap& trap, std::uint32_t agent, const std::string* node,
                         const oxcTrTag* definition) {
  EventPtr made(oxeEvmsgAlloc());
  if (!made) throw std::bad_alloc();
  evmsg* const event = made.get();
  if (node != nullptr) {
    require(oxeEvmsgSetCompType(event, "node"));
    require(oxeEvmsgSetCompName(event, node->c_str()));
  }
  set_definition(event, trap, definition);
  set_detail(event, trap, definition);
  set_community(event, trap);
  require(oxeEvmsgSetSnmpEnterprises(event, trap.enterprise));
  if (agent != 0) require(oxeEvmsgSetSnmpAgentAddr(event, agent));
  require(oxeEvmsgSetSnmpGenTrap(event, trap.genericTrap));
  require(oxeEvmsgSetSnmpSpecTrap(event, trap.specificTrap));
  require(oxeEvmsgSetDnodeList(event, trap.bindings));
  set_times(event, trap, definition);
  return made;
}

std::string key_of(const oxsSnmpTrap& trap, std::uint32_t agent, const std::string* node) {
  void* bindings = nullptr;
  std::uint32_t length = 0;
  require(oxdEncode(trap.bindings, &bindings, &length));
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(bindings, oxcMemFree);
  PayloadWriter key;
  for (const std::uint32_t number : {agent, trap.genericTrap, trap.specificTrap, trap.communityLength}) key.u32(number);
  key.bytes(std::as_bytes(std::span(trap.community, trap.communityLength)));
  key.text(trap.enterprise != nullptr ? trap.enterprise : "");
  key.text(node != nullptr ? *node : "");
  key.bytes({static_cast<const std::byte*>(bindings), length});
  const Bytes& made = key.out();
  return {reinterpret_cast<const char*>(made.data()), made.size()};
}

}  // namespace ox::manager
