// Collected data that applications append.
#include <algorithm>

#include "manager/requests/collected_values.h"
#include "manager/requests/handlers.h"
#include "manager/requests/log_append.h"

namespace ox::manager {
namespace {

constexpr std::string_view log_prefix = "logEnt:";

bool of_log_entry(const std::string& text1, const std::string& text2) {
  return text1.starts_with(log_prefix) && text2.empty();
}

// The component that a first text names, or none.
ComponentName appended_to(const std::string& text) {
  ComponentName name;
  return parse_component_name(text, name) == OX_OK ? name : ComponentName();
}

OX_RESULT size_of_log_entry(const Manager& manager, const std::string& text, std::uint32_t& bytes) {
  ComponentName name;
  if (parse_component_name(text, name) != OX_OK || !manager.store.has(name)) return OX_ENOCOMP;
  std::uint64_t sum = 0;
  for (const EntryId id : data_of(manager, name)) sum += manager.series.counts(id).bytes;
  bytes = static_cast<std::uint32_t>(std::min<std::uint64_t>(sum, 0x7FFFFFFF));
  return OX_OK;
}

}  // namespace

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
  if (result == OX_OK && !request.rights->allow(Role::operate, appended_to(text1), "appending to")) result = OX_EDENIED;
  if (result != OX_OK) return request.reply(error_reply(result));
  const auto done = [reply = request.reply](OX_RESULT written) { reply(error_reply(written)); };
  if (of_log_entry(text1, text2)) {
    return append_round(manager, text1.substr(log_prefix.size()), first, second, nodes, done);
  }
  manager.collected.append({text1, text2}, first, second, values, done);
}

void handle_data_size(Manager& manager, const Request& request) {
  PayloadReader payload(request.message.data);
  const std::string text1 = payload.text();
  const std::string text2 = payload.text();
  if (payload.error() != OX_OK) return request.reply(error_reply(payload.error()));
  if (!request.rights->allow(Role::read, appended_to(text1), "the size of")) {
    return request.reply(error_reply(OX_EDENIED));
  }
  std::uint32_t bytes = 0;
  const OX_RESULT result = of_log_entry(text1, text2) ? size_of_log_entry(manager, text1, bytes)
                                                      : manager.collected.size({text1, text2}, bytes);
  if (result != OX_OK) return request.reply(error_reply(result));
  PayloadWriter size;
  size.u32(bytes);
  request.reply({.data = std::move(size.out())});
}

}  // namespace ox::manager
