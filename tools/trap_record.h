// Traps for the tool: made from words, read from bytes, printed.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include <oxbase/oxbase.h>

namespace tool {

// A trap that owns its parts.
class Trap : public oxsSnmpTrap {
 public:
  Trap() : oxsSnmpTrap{} {}
  ~Trap() { (void)oxsSnmpTrapFree(this); }
  Trap(const Trap&) = delete;
  Trap& operator=(const Trap&) = delete;

  void set_community(const std::string& text);
  void set_enterprise(const std::string& text);  // in any form of a path
  // Name and value in turn; a name may end in ":" and a type, else the type is that of the attribute in the tree.
  void add_bindings(const std::vector<std::string>& words);

  [[nodiscard]] std::string encode() const;
};

// Decodes one datagram. Throws Failure.
void decode_trap(const std::string& datagram, Trap& trap);

// The tree of names, when there is one: traps can be handled without.
void attach_names();

// "coldStart" ... "egpNeighborLoss", "enterpriseSpecific"; the number for any other. And back, -1 for none.
[[nodiscard]] std::string generic_name(uint32_t number);
[[nodiscard]] int64_t generic_number(const std::string& text);

// Bytes from hex digits in pairs, blanks and colons between them passed over. Throws on anything else.
[[nodiscard]] std::string from_hex(const std::string& text);

// What went wrong, on one line.
[[nodiscard]] std::string message_of(const std::exception& error);

// The detail of a definition for a trap.
[[nodiscard]] std::string detail_of(const oxcTrTag& tag, const Trap& trap);

// "file:line".
[[nodiscard]] std::string place_of(const oxcTrTag& tag);

// The trap and what defines it, null for nothing.
void print_trap(const Trap& trap, const oxcTrTag* tag);
[[nodiscard]] nlohmann::json json_of(const Trap& trap, const oxcTrTag* tag);

}  // namespace tool
