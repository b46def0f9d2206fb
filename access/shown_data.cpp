#include "access/shown_data.h"

#include <algorithm>
#include <string_view>

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

bool is_secret(std::string_view path) {
  amib::Walk walk;
  const std::string text(path.substr(0, path.find('\0')));
  if (!amib::is_attached() || walk.follow(text.c_str()) != OX_OK || !amib::is_mapped(walk.node())) return true;
  return (amib::node_at(walk.node()).access & OXB_READ) == 0;
}

}  // namespace

std::string shown_payload(std::uint32_t command, std::span<const unsigned char> payload) {
  std::string shown(reinterpret_cast<const char*>(payload.data()), payload.size());
  data::every_value(payload.subspan(list_of(command, payload.size())),
                    [&](std::string_view path, std::span<const unsigned char> value) {
                      if (!is_secret(path)) return;
                      const auto at = static_cast<std::size_t>(value.data() - payload.data());
                      std::fill_n(shown.begin() + static_cast<std::ptrdiff_t>(at), value.size(), '*');
                    });
  return shown;
}

}  // namespace ox
