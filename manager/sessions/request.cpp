#include "manager/sessions/request.h"

#include <memory>

namespace ox::manager {

Reply node_reply(std::uint32_t error, const NodeList& nodes) {
  void* buffer = nullptr;
  std::uint32_t length = 0;
  if (const OX_RESULT result = oxdEncode(nodes.get(), &buffer, &length)) return error_reply(result);
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(buffer, oxcMemFree);
  const auto* const first = static_cast<const std::byte*>(buffer);
  return {.error = error, .data = Bytes(first, first + length)};
}

OX_RESULT decode_nodes(std::span<const std::byte> bytes, NodeList& nodes) {
  if (bytes.empty()) return OX_OK;
  return oxdDecode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), nodes.out());
}

}  // namespace ox::manager
