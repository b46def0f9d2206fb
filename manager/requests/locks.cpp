// Advisory locks on components.
#include "manager/requests/handlers.h"

namespace ox::manager {

void handle_lock(Manager& manager, const Request& request) {
  constexpr std::uint32_t shared_lock = 1;
  PayloadReader payload(request.message.data);
  const std::string component = payload.text();
  const std::uint32_t argument = payload.u32();
  if (payload.error() != OX_OK) return request.reply(error_reply(payload.error()));
  ComponentName name;
  OX_RESULT result = parse_component_name(component, name);
  if (result == OX_OK) result = manager.directory.find(name);
  if (result == OX_OK && !request.rights->allow(Role::operate, name, "a lock of")) result = OX_EDENIED;
  Reply reply;
  if (result == OX_OK) {
    result = manager.locks.lock(name, argument == shared_lock, request.session, reply.source_id);
  }
  reply.error = result;
  request.reply(std::move(reply));
}

void handle_unlock(Manager& manager, const Request& request) {
  const auto holder = manager.locks.unlock(
      request.message.destination_id, request.session,
      [&](const ComponentName& component) { return request.rights->may(Role::administer, component); });
  if (holder) manager.registrations.closed(*holder);
  request.reply(error_reply(holder ? OX_OK : OX_EHANDLE));
}

}  // namespace ox::manager
