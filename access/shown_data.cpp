#include "access/shown_data.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <oxbase/oxb.h>

#include "amib/path.h"
#include "amib/tree.h"
#include "common/protocol.h"
#include "data/dnode_values.h"

namespace ox {
namespace {

// Where a request's list of nodes begins; behind its end for one that has none to hide.
std::size_t list_of(std::uint32_t command, std::size_t size) noexcept {
  constexpr std::size_t before_set = 10;  // two words and the list's length
  if (command == command_management) return 0;
  return command == command_set || command == command_asy_set ? std::min(before_set, size) : size;
}

// Of system:system; the first one's are in the older encoding.
constexpr std::string_view message_attributes = "10.6.";
constexpr std::string_view older_messages = "10.6.1.";

constinit EventSecrets event_secrets = nullptr;

// Requests and answers whose data are a list of events.
bool sends_events(std::uint32_t command) noexcept {
  return command == command_event_send || command == command_event_cancel ||
         (command >= command_log_check && command <= command_log_modify);
}
bool answers_events(std::uint32_t command) noexcept {
  return command == command_event_send || command == command_log_get || command == command_application_data;
}

// A copy of bytes, of which parts can be hidden.
class Shown {
 public:
  explicit Shown(std::span<const unsigned char> bytes)
      : bytes_(bytes), text_(reinterpret_cast<const char*>(bytes.data()), bytes.size()) {}

  void hide(std::span<const unsigned char> part) {
    std::fill_n(text_.begin() + (part.data() - bytes_.data()), part.size(), '*');
  }
  void hide_communities(std::span<const unsigned char> events) {
    if (event_secrets != nullptr) event_secrets(events, [this](std::span<const unsigned char> part) { hide(part); });
  }
  [[nodiscard]] std::string take() { return std::move(text_); }

 private:
  std::span<const unsigned char> bytes_;
  std::string text_;
};

bool is_secret(std::string_view path) {
  amib::Walk walk;
  const std::string text(path.substr(0, path.find('\0')));
  if (!amib::is_attached() || walk.follow(text.c_str()) != OX_OK || !amib::is_mapped(walk.node())) return true;
  return (amib::node_at(walk.node()).access & OXB_READ) == 0;
}

}  // namespace

std::string shown_payload(std::uint32_t command, std::span<const unsigned char> payload) {
  Shown shown(payload);
  if (sends_events(command)) shown.hide_communities(payload);
  data::every_value(payload.subspan(list_of(command, payload.size())),
                    [&](std::string_view path, std::span<const unsigned char> value) {
                      if (is_secret(path)) shown.hide(value);
                    });
  return shown.take();
}

// A report of a message attribute has its event in a value.
std::string shown_answer(std::uint32_t command, std::span<const unsigned char> data) {
  Shown shown(data);
  if (answers_events(command)) shown.hide_communities(data);
  if (command != command_asy_get) return shown.take();
  data::every_value(data, [&](std::string_view path, std::span<const unsigned char> value) {
    if (path.starts_with(older_messages)) return shown.hide(value);
    if (path.starts_with(message_attributes)) shown.hide_communities(value);
  });
  return shown.take();
}

bool know_event_secrets(EventSecrets find) noexcept {
  event_secrets = find;
  return true;
}

}  // namespace ox
