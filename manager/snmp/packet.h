// Requests as they travel, made once and sent often.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "manager/base/node_list.h"

namespace ox::manager {

struct Agent;

// Beside OXS_GET, OXS_GETNEXT and OXS_SET: GetBulkRequest (RFC 3416, 4.2.3).
inline constexpr std::uint32_t pdu_get_bulk = 5;

struct SnmpRequest {
  std::uint32_t pdu;
  std::uint32_t non_repeaters = 0;  // these two of a pdu_get_bulk
  std::uint32_t repetitions = 0;
};

// An encoded request with room for its identifier: 4 bytes on the wire.
struct Packet {
  std::vector<std::uint8_t> bytes;  // none when it could not be encoded
  std::size_t id_at = 0;
  std::uint32_t version = 0;  // these two its answer repeats
  std::string community{};

  void set_id(std::uint32_t id);
};

[[nodiscard]] Packet make_packet(const Agent& agent, const SnmpRequest& request, const NodeList& bindings);

}  // namespace ox::manager
