// Gets and sets.
#include "manager/requests/values.h"

#include "manager/requests/collected_values.h"
#include "manager/requests/handlers.h"

namespace ox::manager {

OX_RESULT GetRequest::read(std::span<const std::byte> bytes) {
  PayloadReader payload(bytes);
  component = payload.text();
  names = payload.text();
  options = payload.u32();
  limit = payload.u32();
  if (payload.u16() != 0) {
    for (auto* word : {&words.from, &words.to, &words.step, &words.function, &words.count}) *word = payload.u32();
  }
  if (payload.error() != OX_OK) return payload.error();
  return names.empty() ? OX_RESULT{OX_EAMIBNAME} : OX_RESULT{OX_OK};
}

OX_RESULT SetRequest::read(std::span<const std::byte> bytes) {
  PayloadReader payload(bytes);
  (void)payload.u32();
  limit = payload.u32();
  const auto list = payload.bytes(payload.u16());
  return payload.error() != OX_OK ? payload.error() : decode_nodes(list, nodes);
}

// The options have no meaning for this manager.
void handle_get(Manager& manager, const Request& request) {
  GetRequest get;
  OX_RESULT result = get.read(request.message.data);
  if (result == OX_OK && answer_collected(manager, request, get)) return;
  if (result == OX_OK) {
    result = manager.reader.read({request.session, request.rights, get.component, get.names, get.limit, get.words},
                                 node_answer(request.reply));
  }
  if (result != OX_OK) request.reply(error_reply(result));
}

void handle_set(Manager& manager, const Request& request) {
  SetRequest set;
  if (const OX_RESULT result = set.read(request.message.data)) return request.reply(error_reply(result));
  manager.writer.write({request.session, request.rights}, std::move(set.nodes), set.limit, node_answer(request.reply));
}

}  // namespace ox::manager
