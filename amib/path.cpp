#include "amib/path.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include <oxbase/oxc.h>

#include "amib/child_cache.h"
#include "amib/tree.h"

namespace ox::amib {
namespace {

constexpr std::string_view mib_2 = "1.3.6.1.2.1.";
constexpr std::string_view enterprises = "1.3.6.1.4.1.";

[[nodiscard]] constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
[[nodiscard]] constexpr bool is_instance_character(char c) noexcept { return is_digit(c) || c == '*'; }

// What the tokenizer would treat specially. No node's name and no instance holds any of it.
[[nodiscard]] bool has_quotes(std::string_view path) noexcept {
  return path.find_first_of("\"'\\") != std::string_view::npos;
}

// A component of digits only is a number, never a name. One that no number of 32 bits equals names no node.
[[nodiscard]] Ref child_of(Ref parent, std::string_view component) noexcept {
  if (!is_digit(component.front())) return child_named(parent, component.data(), component.size());
  std::uint32_t number = 0;
  const char* end = component.data() + component.size();
  const auto [stop, error] = std::from_chars(component.data(), end, number);
  return error == std::errc() && stop == end ? child_numbered(parent, number) : 0;
}

}  // namespace

std::string_view next_component(std::string_view& path) noexcept {
  const char* begin = path.data();
  const char* const end = begin + path.size();
  while (begin != end && *begin == '.') ++begin;
  if (begin == end) {
    path = {};
    return {};
  }
  const auto size = static_cast<std::size_t>(end - begin);
  const char* stop = static_cast<const char*>(std::memchr(begin, '.', size));
  if (stop == nullptr) stop = end;
  path = {stop, static_cast<std::size_t>(end - stop)};
  return {begin, static_cast<std::size_t>(stop - begin)};
}

OX_RESULT Walk::check_rest(std::uint32_t components) const noexcept {
  bool known = true;
  std::string_view path = rest_;
  for (std::string_view component = next_component(path); !component.empty(); component = next_component(path)) {
    if (++components > depth_limit) return OX_EDEPTH;
    known = known && std::all_of(component.begin(), component.end(), is_instance_character);
  }
  return known ? OX_OK : OX_EAMIBNAME;
}

OX_RESULT Walk::follow_plain(std::string_view path) noexcept {
  node_ = root();
  for (std::uint32_t components = 0;; ++components) {
    rest_ = path;
    if (components > depth_limit) return OX_EDEPTH;
    const std::string_view component = next_component(path);
    if (component.empty()) {
      rest_ = {};
      return OX_OK;
    }
    const Ref child = child_of(node_, component);
    if (child == 0) return check_rest(components);
    node_ = child;
  }
}

// The tokenizer takes the quotes out. A component that held anything but letters, digits, "-" and "*" is no name and
// no instance, and an empty one neither.
OX_RESULT Walk::follow_quoted(std::string_view path) {
  PathText line;
  std::memcpy(line.data(), path.data(), path.size());
  line[path.size()] = '\0';
  std::array<char*, depth_limit> components;
  std::uint32_t count = 0;
  const OX_RESULT split = oxcToken(line.data(), ".", components.data(), depth_limit, &count);
  if (split != OX_OK) return split == OX_ETOKENS ? OX_EDEPTH : OX_EAMIBNAME;
  char* out = text_.data();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::string_view component = components[i];
    if (component.empty() || component.find('.') != std::string_view::npos || has_quotes(component)) {
      return OX_EAMIBNAME;
    }
    out = std::copy(component.begin(), component.end(), out);
    *out++ = '.';
  }
  return follow_plain({text_.data(), static_cast<std::size_t>(out - text_.data())});
}

OX_RESULT Walk::follow(const char* path) {
  std::string_view text = path;
  if (!text.empty() && (text.front() == '.' || text.front() == '~')) {
    const std::string_view arc = text.front() == '.' ? mib_2 : enterprises;
    text.remove_prefix(1);
    if (arc.size() + text.size() >= path_limit) return OX_EPATHLONG;
    std::copy(text.begin(), text.end(), std::copy(arc.begin(), arc.end(), text_.data()));
    text = {text_.data(), arc.size() + text.size()};
  }
  if (text.size() >= path_limit) return OX_EPATHLONG;
  const OX_RESULT result = follow_plain(text);
  return result == OX_OK || !has_quotes(text) ? result : follow_quoted(text);
}

OX_RESULT find_node(const char* path, Ref& node) {
  if (path == nullptr || *path == '\0') {
    node = root();
    return OX_OK;
  }
  Walk walk;
  if (const OX_RESULT result = walk.follow(path); result != OX_OK) return result;
  if (walk.node() == root()) return OX_EAMIBNAME;
  node = walk.node();
  return OX_OK;
}

bool is_path_prefix(std::string_view a, std::string_view b) noexcept {
  return a.starts_with(b) && (a.size() == b.size() || a[b.size()] == '.');
}

}  // namespace ox::amib
