#include "tools/gap_reasons.h"

#include <iterator>

namespace tool {
namespace {

constexpr const char* reasons[] = {"",
                                   "no answer",
                                   "agent's error",
                                   "no such instance",
                                   "no such component",
                                   "value over 65535 bytes",
                                   "manager down",
                                   "overrun",
                                   "not asked: agent silent",
                                   "clock stepped",
                                   "disk full"};

constexpr std::uint32_t agents_error = 2;
// Of rates.
constexpr std::uint32_t restarted = 0x11;
constexpr std::uint32_t implausible = 0x12;
// What SNMP calls the errors that agents answer a read with (RFC 3416, 3).
constexpr const char* snmp_errors[] = {"noError", "tooBig", "noSuchName", "badValue", "readOnly", "genErr", "noAccess"};

}  // namespace

std::string gap_reason(std::uint32_t status) {
  const std::uint32_t reason = status >> 16;
  const std::uint32_t code = status & 0xFFFF;
  if (reason == 0) return "no value";
  if (reason == restarted) return "agent restarted";
  if (reason == implausible) return "counter went back";
  std::string text = reason < std::size(reasons) ? reasons[reason] : "reason " + std::to_string(reason);
  if (code != 0) text += ' ' + std::to_string(code);
  if (reason == agents_error && code < std::size(snmp_errors)) text += std::string(" (") + snmp_errors[code] + ')';
  return text;
}

}  // namespace tool
