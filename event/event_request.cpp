#include "event/event_request.h"

#include "access/request.h"

namespace ox::event {

OX_RESULT request(const RequestHeader& header, std::initializer_list<PayloadPart> body, MessagePtr& reply) {
  const OX_RESULT result = exchange(header, body, reply);
  return result != OX_OK ? result : reply->error;
}

}  // namespace ox::event
