#include "common/code_page.h"

#include <algorithm>

#include "common/ascii.h"

namespace ox {
namespace {

constexpr bool begins_pair(unsigned byte) noexcept {  // in 932
  return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
}

// The forms that are left out would be longer than need be, halves of pairs, or beyond the last character.
constexpr bool may_follow(unsigned lead, unsigned second) noexcept {
  switch (lead) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second <= 0x9F;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second <= 0x8F;
    default:
      return true;
  }
}

unsigned utf8_size(const char* text, std::size_t left) noexcept {
  const auto byte = [text](unsigned at) { return static_cast<unsigned char>(text[at]); };
  const unsigned lead = byte(0);
  const unsigned size = lead < 0xC2 || lead > 0xF4 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (size > left) return 1;
  for (unsigned at = 1; at < size; ++at) {
    if ((byte(at) & 0xC0) != 0x80) return 1;  // the terminator, too
  }
  return size == 1 || may_follow(lead, byte(1)) ? size : 1;
}

unsigned folded(char c) noexcept { return static_cast<unsigned char>(lower(c)); }

}  // namespace

CodePage::CodePage(std::uint32_t number) noexcept : number_(number) {
  for (unsigned byte = 0x80; byte <= 0xFF; ++byte) {
    lead_[byte - 0x80] = number == platform::shift_jis
                             ? begins_pair(byte)
                             : platform::is_lead_byte(number, static_cast<unsigned char>(byte));
  }
}

unsigned CodePage::long_size(const char* text, std::size_t left) const noexcept {
  if (number_ == platform::utf8) return utf8_size(text, left);
  return lead_[static_cast<unsigned char>(text[0]) - 0x80] && left > 1 && text[1] != '\0' ? 2 : 1;
}

std::size_t CodePage::fitting(std::string_view text, std::size_t room) const noexcept {
  if (text.size() <= room) return text.size();
  std::size_t end = 0;
  while (end + size(text.substr(end)) <= room) end += size(text.substr(end));
  return end;
}

// In code pages of two bytes those below 0x40 are never a second one.
std::size_t CodePage::first_whole(std::string_view rest) const noexcept {
  const bool has_pairs = std::find(lead_.begin(), lead_.end(), true) != lead_.end();
  const auto may_belong_to_one_before = [&](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return number_ == platform::utf8 ? (byte & 0xC0) == 0x80 : has_pairs && byte >= 0x40;
  };
  const auto first = std::find_if_not(rest.begin(), rest.end(), may_belong_to_one_before);
  const auto at = static_cast<std::size_t>(first - rest.begin());
  // Of UTF-8 more than three such bytes are no character's.
  return at == rest.size() || (number_ == platform::utf8 && at > 3) ? 0 : at;
}

int CodePage::compare_no_case(std::string_view a, std::string_view b) const noexcept {
  while (!a.empty() && !b.empty()) {
    const unsigned of_a = size(a);
    const unsigned of_b = size(b);
    const int order = of_a == 1 && of_b == 1 ? static_cast<int>(folded(a[0])) - static_cast<int>(folded(b[0]))
                                             : a.substr(0, of_a).compare(b.substr(0, of_b));
    if (order != 0) return order;
    a.remove_prefix(of_a);
    b.remove_prefix(of_b);
  }
  return (a.empty() ? 0 : 1) - (b.empty() ? 0 : 1);
}

std::size_t CodePage::find_separator(std::string_view path, std::size_t from) const noexcept {
  while (from < path.size() && path[from] != '/' && path[from] != '\\') {
    const unsigned taken = size(path.substr(from));
    // A "/" is no second byte anywhere: before it stands what is of another code page.
    from += taken == 2 && path[from + 1] == '/' ? 1 : taken;
  }
  return from < path.size() ? from : std::string_view::npos;
}

std::size_t CodePage::last_name(std::string_view path) const noexcept {
  std::size_t name = 0;
  for (std::size_t at = 0; (at = find_separator(path, at)) != std::string_view::npos;) name = ++at;
  return name;
}

bool is_ascii(std::string_view text) noexcept {
  return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

std::string converted(std::string_view text, const CodePage& from, std::uint32_t to, Unknown unknown) {
  if (from.number() == to || is_ascii(text)) return std::string(text);
  std::string out;
  const platform::Converter converter(from.number(), to);
  if (converter.convert(text, out)) return out;
  while (!text.empty()) {
    // ASCII behind a lead byte that it does not belong to is a character of its own.
    const unsigned size = from.size(text);
    const bool known = converter.convert(text.substr(0, size), out);
    const unsigned taken = !known && size == 2 && is_ascii(text.substr(1, 1)) ? 1 : size;
    if (!known && unknown == Unknown::stays) out += text.substr(0, taken);
    if (!known && unknown == Unknown::becomes_question_mark) out += '?';
    text.remove_prefix(taken);
  }
  return out;
}

}  // namespace ox
