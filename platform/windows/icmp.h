// The system's ICMP library, bound when the library is loaded.
#pragma once

namespace ox::platform {

// "icmp.dll", on systems without it "iphlpapi.dll". False when neither has the three calls.
[[nodiscard]] bool attach_icmp() noexcept;
void detach_icmp() noexcept;

}  // namespace ox::platform
