// Persistent waits.
#include "manager/requests/handlers.h"

namespace ox::manager {

void handle_wait_open(Manager& manager, const Request& request) {
  const auto& body = request.message.data;
  const std::string name(reinterpret_cast<const char*>(body.data()), body.size());
  Reply reply;
  reply.error = manager.waits.open(request.session, name.substr(0, name.find('\0')), request.message.source_id,
                                   request.rights, reply.source_id);
  if (reply.error != OX_OK) return request.reply(std::move(reply));
  manager.events.when_safe([&manager, session = request.session, answer = request.reply, reply](bool safe) {
    if (safe) return answer(reply);
    (void)manager.waits.close(reply.source_id, session, false);
    answer(error_reply(OX_EWRITE));
  });
}

void handle_wait_close(Manager& manager, const Request& request) {
  const bool any = request.rights->may_all(Role::administer);
  const bool closed = manager.waits.close(request.message.destination_id, request.session, any);
  request.reply(error_reply(closed ? OX_OK : OX_EHANDLE));
}

}  // namespace ox::manager
