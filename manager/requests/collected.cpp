// Collected data.
#include "manager/requests/handlers.h"

namespace ox::manager {

void handle_append(Manager& manager, const Request& request) {
  PayloadReader payload(request.message.data);
  const std::uint32_t first = payload.u32();
  const std::uint32_t second = payload.u32();
  const std::string text1 = payload.text();
  const std::string text2 = payload.text();
  const auto values = payload.bytes(payload.u32());
  OX_RESULT result = payload.error();
  NodeList nodes;
  if (result == OX_OK) result = decode_nodes(values, nodes);  // nothing that does not read is kept
  if (result == OX_OK && text1.empty()) result = OX_EFORMAT;
  if (result != OX_OK) return request.reply(error_reply(result));
  manager.collected.append({text1, text2}, first, second, values,
                           [reply = request.reply](OX_RESULT written) { reply(error_reply(written)); });
}

void handle_data_size(Manager& manager, const Request& request) {
  PayloadReader payload(request.message.data);
  const std::string text1 = payload.text();
  const std::string text2 = payload.text();
  if (payload.error() != OX_OK) return request.reply(error_reply(payload.error()));
  std::uint32_t bytes = 0;
  const OX_RESULT result = manager.collected.size({text1, text2}, bytes);
  if (result != OX_OK) return request.reply(error_reply(result));
  PayloadWriter size;
  size.u32(bytes);
  request.reply({.data = std::move(size.out())});
}

}  // namespace ox::manager
