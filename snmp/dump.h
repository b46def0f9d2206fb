// What the trace shows of a packet.
#pragma once

#include <string>
#include <string_view>

#include <oxbase/oxtypes.h>

namespace ox::snmp {

// The packet with stars in place of its community, as far as it has one; of a cut packet, too.
[[nodiscard]] std::string without_community(std::string_view packet);

struct Shown {
  std::string line;   // "v2c get-response id 7 error 0/0 1.3.6.1.2.1.1.3.0 = 5.00", or "malformed"
  bool trap = false;  // a trap, an inform
};
[[nodiscard]] Shown show(std::string_view packet);

}  // namespace ox::snmp
