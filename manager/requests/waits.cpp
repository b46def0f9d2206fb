// Persistent waits.
#include "manager/requests/handlers.h"

namespace ox::manager {

std::string wait_name(const Request& request) {
  const auto& body = request.message.data;
  const std::string name(reinterpret_cast<const char*>(body.data()), body.size());
  return name.substr(0, name.find('\0'));
}

void handle_wait_open(Manager& manager, const Request& request) {
  Reply reply;
  reply.error = manager.waits.open(request.session, wait_name(request), request.message.source_id, request.rights,
                                   reply.source_id);
  if (reply.error != OX_OK) return request.reply(std::move(reply));
  manager.events.when_safe([&manager, session = request.session, answer = request.reply, reply](bool safe) {
    if (safe) return answer(reply);
    (void)manager.waits.close(reply.source_id, session, false);
    answer(error_reply(OX_EWRITE));
  });
}

void handle_wait_close(Manager& manager, const Request& request) {
  const bool any = request.rights->may_all(Role::administer);
  const auto holder = manager.waits.close(request.message.destination_id, request.session, any);
  if (holder) manager.registrations.closed(*holder);
  request.reply(error_reply(holder ? OX_OK : OX_EHANDLE));
}

}  // namespace ox::manager
