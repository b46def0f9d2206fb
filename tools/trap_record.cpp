#include "tools/trap_record.h"

#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "tools/community.h"
#include "tools/definitions.h"
#include "tools/library.h"
#include "tools/text.h"
#include "tools/value_argument.h"

namespace tool {
namespace {

constexpr const char* generic_names[] = {
    "coldStart", "warmStart", "linkDown", "linkUp", "authenticationFailure", "egpNeighborLoss", "enterpriseSpecific"};

template <class Byte>
Byte* new_block(const std::string& text) {
  void* block = oxcMemAlloc(static_cast<uint32_t>(text.size() + 1), "oxtrap");
  if (block == nullptr) throw Failure("trap", OX_ENOMEM);
  std::memcpy(block, text.c_str(), text.size() + 1);
  return static_cast<Byte*>(block);
}

std::string text_or(const char* text, const char* otherwise = "") { return text != nullptr ? text : otherwise; }

std::string community_of(const Trap& trap) {
  return {reinterpret_cast<const char*>(trap.community), trap.communityLength};
}

const char* pdu_name(uint32_t type) {
  return type == OXS_TRAP ? "trap of version 1" : type == OXS_INFORM ? "inform" : "trap of version 2c";
}

std::string path_of(const dnode* node) {
  const char* path = nullptr;
  return oxdGetAmibName(node, &path) == OX_OK ? path : "";
}

std::string name_of(const dnode* node) {
  const char* name = nullptr;
  const std::string path = path_of(node);
  return oxbStrName(path.c_str(), &name) == OX_OK ? name : path;
}

std::string type_of(const dnode* node) {
  const int32_t type = oxdGetValueType(node);
  if (type == OX_NULL) return "NULL";
  for (const auto& [name, number] : value_types) {
    if (static_cast<int32_t>(number) == type) return name;
  }
  return type < 0 ? "none" : std::to_string(type);
}

std::string address_of(const Trap& trap) { return text_or(oxcIpAddrToStr(trap.agentAddress)); }

}  // namespace

void Trap::set_community(const std::string& text) {
  (void)oxcMemFree(community);
  community = new_block<unsigned char>(text);
  communityLength = static_cast<uint32_t>(text.size());
}

void Trap::set_enterprise(const std::string& text) {
  const char* path = nullptr;
  const bool numeric = text.find_first_not_of("0123456789.") == std::string::npos;
  // As a path below the standard objects, which such a text would be elsewhere, it is never meant.
  if (numeric && text.starts_with('.')) throw Usage(text + ": an enterprise in numbers begins without a dot");
  if (!numeric) require(oxbNumName(text.c_str(), &path), text);
  (void)oxcMemFree(enterprise);
  enterprise = new_block<char>(numeric ? text : path);
}

void Trap::add_bindings(const std::vector<std::string>& words) {
  if (words.size() % 2 != 0) throw Usage("every binding needs a value");
  for (std::size_t i = 0; i < words.size(); i += 2) {
    const std::string& word = words[i];
    const std::size_t colon = word.find(':');
    uint32_t type = 0;
    if (colon != std::string::npos) {
      const auto known = value_types.find(word.substr(colon + 1));
      if (known == value_types.end()) throw Failure(word, OX_EVALUETYPE);
      type = known->second;
    }
    dnode* node = oxdAlloc(1);
    if (node == nullptr) throw Failure(word, OX_ENOMEM);
    (void)oxcQueueAdd(&bindings, node);
    set_value(node, word.substr(0, colon), type, words[i + 1], word);
  }
}

std::string Trap::encode() const {
  void* buffer = nullptr;
  uint32_t length = 0;
  require(oxsSnmpTrapEncode(this, &buffer, &length), "trap");
  std::string bytes(static_cast<char*>(buffer), length);
  (void)oxcMemFree(buffer);
  return bytes;
}

void decode_trap(const std::string& datagram, Trap& trap) {
  (void)oxsSnmpTrapFree(&trap);
  require(oxsSnmpTrapDecode(datagram.data(), static_cast<uint32_t>(datagram.size()), &trap), "datagram");
}

void attach_names() {
  try {
    attach_tree();
  } catch (const std::exception&) {
    // Names stay numbers.
  }
}

std::string generic_name(uint32_t number) {
  return number < std::size(generic_names) ? generic_names[number] : std::to_string(number);
}

int64_t generic_number(const std::string& text) {
  for (uint32_t i = 0; i < std::size(generic_names); ++i) {
    if (text == generic_names[i]) return i;
  }
  uint32_t number = 0;
  return oxcStrToUlong(text.c_str(), 0, &number) == OX_OK ? int64_t{number} : -1;
}

std::string from_hex(const std::string& text) {
  std::string digits;
  for (const char c : text) {
    if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
      digits += c;
    } else if (std::strchr(" \t\r\n:", c) == nullptr) {
      throw std::runtime_error(std::string("no hex digit: '") + c + "'");
    }
  }
  if (digits.size() % 2 != 0) throw std::runtime_error("half a byte at the end of the hex digits");
  std::string bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

std::string message_of(const std::exception& error) {
  const auto* failure = dynamic_cast<const Failure*>(&error);
  return failure != nullptr ? std::string(error.what()) + ": " + error_text(failure->code()) : error.what();
}

std::string detail_of(const oxcTrTag& tag, const Trap& trap) {
  char* made = nullptr;
  require(oxcTrReMakeDetail(&tag, trap.bindings, &made), place_of(tag));
  std::string text = made;
  (void)oxcMemFree(made);
  return text;
}

std::string place_of(const oxcTrTag& tag) { return text_or(tag.file) + ":" + std::to_string(tag.line); }

void print_trap(const Trap& trap, const oxcTrTag* tag) {
  say(stdout, "%-12s %s\n", "message", pdu_name(trap.pduType));
  say(stdout, "%-12s %s\n", "community", on_one_line(shown_community(community_of(trap))).c_str());
  say(stdout, "%-12s %s\n", "enterprise", text_or(trap.enterprise, "-").c_str());
  say(stdout, "%-12s %s\n", "agent", address_of(trap).c_str());
  say(stdout, "%-12s %u %s\n", "generic", trap.genericTrap, generic_name(trap.genericTrap).c_str());
  say(stdout, "%-12s %u\n", "specific", trap.specificTrap);
  say(stdout, "%-12s %u %s\n", "time", trap.timeStamp, text_or(oxcTticksToStr(trap.timeStamp)).c_str());
  if (trap.pduType != OXS_TRAP) say(stdout, "%-12s %d\n", "request", static_cast<int32_t>(trap.requestId));
  for (dnode* node = trap.bindings; node != nullptr; node = oxdNext(node)) {
    say(stdout, "%-12s %s = %s: %s\n", "binding", name_of(node).c_str(), type_of(node).c_str(),
        on_one_line(oxdGetValueByStr(node)).c_str());
  }
  if (tag == nullptr) {
    say(stdout, "%-12s none\n", "definition");
    return;
  }
  say(stdout, "%-12s %s\n", "definition", place_of(*tag).c_str());
  say(stdout, "%-12s %u\n", "severity", tag->severity);
  say(stdout, "%-12s %s\n", "summary", text_or(tag->summary).c_str());
  say(stdout, "%-12s %s\n", "detail", on_one_line(detail_of(*tag, trap)).c_str());
  if (tag->deal != nullptr) say(stdout, "%-12s %s\n", "deal", tag->deal);
}

nlohmann::json json_of(const Trap& trap, const oxcTrTag* tag) {
  nlohmann::json bindings = nlohmann::json::array();
  for (dnode* node = trap.bindings; node != nullptr; node = oxdNext(node)) {
    bindings.push_back(
        {{"path", path_of(node)}, {"name", name_of(node)}, {"type", type_of(node)}, {"text", oxdGetValueByStr(node)}});
  }
  nlohmann::json all = {{"message", pdu_name(trap.pduType)},
                        {"community", shown_community(community_of(trap))},
                        {"enterprise", text_or(trap.enterprise)},
                        {"agent", address_of(trap)},
                        {"generic", trap.genericTrap},
                        {"specific", trap.specificTrap},
                        {"time", trap.timeStamp},
                        {"request", static_cast<int32_t>(trap.requestId)},
                        {"bindings", bindings}};
  if (tag != nullptr) {
    all["definition"] = {{"place", place_of(*tag)},
                         {"severity", tag->severity},
                         {"summary", text_or(tag->summary)},
                         {"detail", detail_of(*tag, trap)},
                         {"deal", text_or(tag->deal)}};
  }
  return all;
}

}  // namespace tool
