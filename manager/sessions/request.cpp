#include "manager/sessions/request.h"

namespace ox::manager {

Reply node_reply(std::uint32_t error, const NodeList& nodes) {
  Reply reply = error_reply(error);
  if (const OX_RESULT result = encode_nodes(nodes, reply.data)) reply.error = result;
  return reply;
}

}  // namespace ox::manager
