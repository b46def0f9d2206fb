#include "platform/icmp_echo.h"

#include <array>

#include <oxbase/oxc.h>

#include "common/addresses.h"
#include "common/error_codes.h"
#include "common/trace.h"

namespace ox {
namespace {

OX_RESULT echo(const char* address, std::uint32_t timeout, std::uint32_t* round_trip) {
  if (round_trip == nullptr || timeout == 0) return OX_EARG;
  if (address == nullptr || *address == '\0') return OX_EMISSING;
  std::array<unsigned char, 4> bytes{};
  if (const OX_RESULT result = parse_ipv4(address, bytes)) return result;
  const platform::Error error = platform::icmp_echo(bytes, timeout, *round_trip);
  if (error == platform::error_timeout) return OX_ENOANSWER;
  if (error == platform::error_access_denied) return OX_EDENIED;
  return code_of_platform_error(error);
}

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcIcmpEcho(const char* address, uint32_t timeout, uint32_t* roundTrip) {
  OX_ENTRY("oxcIcmpEcho", ":%s:%d:%x", ox::trace::text(address), static_cast<int>(timeout), ox::trace::word(roundTrip));
  return ox::traced("oxcIcmpEcho", [&] { return ox::echo(address, timeout, roundTrip); });
}
