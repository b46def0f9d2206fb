#include "common/addresses.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "common/ascii.h"

namespace ox {
namespace {

// A decimal number without leading zeros, at most `maximum` (below 1000).
bool decimal(std::string_view text, unsigned maximum, unsigned& number) noexcept {
  if (text.empty() || text.size() > 3 || (text.size() > 1 && text.front() == '0')) return false;
  number = 0;
  for (const char c : text) {
    if (!is_digit(c)) return false;
    number = number * 10 + digit_value(c);
  }
  return number <= maximum;
}

bool hex_group(std::string_view text, unsigned& number) noexcept {
  if (text.empty() || text.size() > 4) return false;
  number = 0;
  for (const char c : text) {
    if (digit_value(c) >= 16) return false;
    number = number * 16 + digit_value(c);
  }
  return true;
}

bool hex_bytes(std::string_view text, std::span<unsigned char> bytes) noexcept {
  if (text.size() != 2 * bytes.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (digit_value(text[i]) >= 16) return false;
    bytes[i / 2] = static_cast<unsigned char>(bytes[i / 2] << 4 | digit_value(text[i]));
  }
  return true;
}

// Cuts what stands before the first separator off the text; the whole text when there is none.
std::string_view cut(std::string_view& text, char separator, bool& more) noexcept {
  const std::size_t end = text.find(separator);
  more = end != std::string_view::npos;
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(more ? end + 1 : text.size());
  return part;
}

// A run of groups between "::" and an end of the text.
struct Groups {
  std::array<unsigned char, 16> bytes{};
  std::size_t size = 0;
};

bool add_group(std::string_view text, Groups& groups) noexcept {
  unsigned number = 0;
  if (groups.size > 14 || !hex_group(text, number)) return false;
  groups.bytes[groups.size++] = static_cast<unsigned char>(number >> 8);
  groups.bytes[groups.size++] = static_cast<unsigned char>(number);
  return true;
}

bool add_dotted_tail(std::string_view text, Groups& groups) noexcept {
  if (groups.size > 12) return false;
  const AddressRoom<4> room(groups.bytes.data() + groups.size, 4);
  groups.size += 4;
  return parse_ipv4(text, room) == OX_OK;
}

bool parse_groups(std::string_view text, bool may_be_dotted, Groups& groups) noexcept {
  if (text.empty()) return true;
  for (bool more = true; more;) {
    const std::string_view group = cut(text, ':', more);
    const bool dotted = group.find('.') != std::string_view::npos;
    if (dotted ? more || !may_be_dotted || !add_dotted_tail(group, groups) : !add_group(group, groups)) return false;
  }
  return true;
}

unsigned group_at(AddressBytes<16> address, std::size_t index) noexcept {
  return static_cast<unsigned>(address[2 * index] << 8 | address[2 * index + 1]);
}

// The longest run of at least two zero groups among the first `groups`, the first one of equals.
struct Run {
  std::size_t begin = 0;
  std::size_t size = 0;
};

Run longest_zero_run(AddressBytes<16> address, std::size_t groups) noexcept {
  Run best;
  for (std::size_t i = 0; i < groups;) {
    std::size_t end = i;
    while (end < groups && group_at(address, end) == 0) ++end;
    if (end - i > best.size) best = {i, end - i};
    i = end + 1;
  }
  return best.size >= 2 ? best : Run{};
}

// ::ffff:0:0/96, and ::/96 without the addresses of which only the last group counts, such as ::1.
bool has_dotted_tail(AddressBytes<16> address) noexcept {
  for (std::size_t i = 0; i < 5; ++i) {
    if (group_at(address, i) != 0) return false;
  }
  return group_at(address, 5) == 0xFFFF || (group_at(address, 5) == 0 && group_at(address, 6) != 0);
}

}  // namespace

OX_RESULT parse_ipv4(std::string_view text, AddressRoom<4> address) noexcept {
  std::array<unsigned char, 4> bytes{};
  bool more = true;
  for (unsigned char& byte : bytes) {
    unsigned number = 0;
    if (!more || !decimal(cut(text, '.', more), 255, number)) return OX_EFORMAT;
    byte = static_cast<unsigned char>(number);
  }
  if (more) return OX_EFORMAT;
  std::copy(bytes.begin(), bytes.end(), address.begin());
  return OX_OK;
}

const char* print_ipv4(AddressBytes<4> address, char (&text)[16]) noexcept {
  (void)std::snprintf(text, sizeof text, "%u.%u.%u.%u", address[0], address[1], address[2], address[3]);
  return text;
}

OX_RESULT parse_ipx(std::string_view text, AddressRoom<10> address) noexcept {
  constexpr std::size_t network_digits = 8;
  if (text.size() <= network_digits || (text[network_digits] != '.' && text[network_digits] != ':')) return OX_EFORMAT;
  std::array<unsigned char, 10> bytes{};
  const std::span<unsigned char> room(bytes);
  if (!hex_bytes(text.substr(0, network_digits), room.first(4))) return OX_EFORMAT;
  if (!hex_bytes(text.substr(network_digits + 1), room.last(6))) return OX_EFORMAT;
  std::copy(bytes.begin(), bytes.end(), address.begin());
  return OX_OK;
}

const char* print_ipx(AddressBytes<10> address, char (&text)[22]) noexcept {
  char* out = text;
  for (std::size_t i = 0; i < address.size(); ++i) {
    out += std::snprintf(out, 4, i == 4 ? ".%02x" : "%02x", static_cast<unsigned>(address[i]));
  }
  return text;
}

OX_RESULT parse_ipv6(std::string_view text, AddressRoom<16> address) noexcept {
  const std::size_t gap = text.find("::");
  const bool compressed = gap != std::string_view::npos;
  Groups head;
  Groups tail;
  if (!parse_groups(text.substr(0, gap), !compressed, head)) return OX_EFORMAT;
  if (compressed && !parse_groups(text.substr(gap + 2), true, tail)) return OX_EFORMAT;
  const std::size_t size = head.size + tail.size;
  if (compressed ? size > 14 : size != 16) return OX_EFORMAT;  // "::" stands for one group at least
  std::fill(address.begin(), address.end(), static_cast<unsigned char>(0));
  std::copy_n(head.bytes.begin(), head.size, address.begin());
  std::copy_n(tail.bytes.begin(), tail.size, address.end() - static_cast<std::ptrdiff_t>(tail.size));
  return OX_OK;
}

const char* print_ipv6(AddressBytes<16> address, char (&text)[46]) noexcept {
  const bool dotted = has_dotted_tail(address);
  const std::size_t groups = dotted ? 6 : 8;
  const Run run = longest_zero_run(address, groups);
  char* out = text;
  for (std::size_t i = 0; i < groups; ++i) {
    if (run.size != 0 && i == run.begin) {
      *out++ = ':';
      if (i + run.size == groups) *out++ = ':';
      i += run.size - 1;
      continue;
    }
    if (i != 0) *out++ = ':';
    out += std::snprintf(out, 5, "%x", group_at(address, i));
  }
  *out = '\0';
  if (dotted) {
    if (out[-1] != ':') *out++ = ':';
    char tail[16];
    (void)std::snprintf(out, sizeof tail, "%s", print_ipv4(address.last<4>(), tail));
  }
  return text;
}

OX_RESULT parse_ipv6_prefix(std::string_view text, AddressRoom<17> prefix) noexcept {
  std::array<unsigned char, 16> address{};
  unsigned length = 0;
  bool more = false;
  const std::string_view before = cut(text, '/', more);
  if (!more || !decimal(text, 128, length) || parse_ipv6(before, address) != OX_OK) return OX_EV6PREFIX;
  std::copy(address.begin(), address.end(), prefix.begin());
  prefix[16] = static_cast<unsigned char>(length);
  return OX_OK;
}

const char* print_ipv6_prefix(AddressBytes<17> prefix, char (&text)[50]) noexcept {
  char address[46];
  (void)std::snprintf(text, sizeof text, "%s/%u", print_ipv6(prefix.first<16>(), address), prefix[16]);
  return text;
}

OX_RESULT parse_ipv6_interface(std::string_view text, AddressRoom<8> interface_id) noexcept {
  Groups groups;
  if (!parse_groups(text, false, groups) || groups.size != interface_id.size()) return OX_EFORMAT;
  std::copy_n(groups.bytes.begin(), groups.size, interface_id.begin());
  return OX_OK;
}

const char* print_ipv6_interface(AddressBytes<8> interface_id, char (&text)[20]) noexcept {
  char* out = text;
  for (std::size_t i = 0; i < interface_id.size(); i += 2) {
    if (i != 0) *out++ = ':';
    out += std::snprintf(out, 5, "%x%.2x", static_cast<unsigned>(interface_id[i]),
                         static_cast<unsigned>(interface_id[i + 1]));
  }
  return text;
}

}  // namespace ox
