// What the manager tells of collections that fail.
#include <charconv>
#include <cstring>
#include <string>

#include "data/value_texts.h"
#include "entries/log/log_entry.h"

namespace ox::entries {
namespace {

oxlErrorCallback error_callback;  // the process's; unguarded, as the session is its thread's

std::uint32_t decimal(const char* text) noexcept {
  std::uint32_t number = 0;
  (void)std::from_chars(text, text + std::strlen(text), number);
  return number;
}

// "ERROR code entry ...": other lines are of no interest.
void tell(std::string line) {
  char* tokens[10];
  std::uint32_t count = 0;
  (void)oxcToken(line.data(), nullptr, tokens, static_cast<std::uint32_t>(std::size(tokens)), &count);
  if (count < 3 || std::strcmp(tokens[0], "ERROR") != 0 || error_callback == nullptr) return;
  error_callback(decimal(tokens[1]), tokens[2], 0);
}

void OX_CALL receive(void*, void*, dnode* list, OX_RESULT) {
  const dnode_ptr answer(list);
  for (const dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* text = nullptr;
    if (data::display_text(*node, text) == OX_OK) tell(text);
  }
}

OX_RESULT subscribe(const char* manager, oxlErrorCallback callback, void** handle) {
  if (callback == nullptr || handle == nullptr) return OX_EMISSING;
  void* request = nullptr;
  const OX_RESULT result =
      oxaAsyGet(manager, "system:system", "10.6.9.0", nullptr, 88, log_seconds, receive, nullptr, &request);
  if (result != OX_OK) return result;
  error_callback = callback;
  *handle = request;
  return OX_OK;
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxlInit(const char* manager, oxlErrorCallback callback, void** handle) {
  OX_LOG_START("oxlInit", "%s,%x,%x", trace::text(manager), trace::word(callback), trace::word(handle));
  return OX_LOG_CALL("oxlInit", [&] { return subscribe(manager, callback, handle); });
}
