#include "common/wildcard.h"

#include <oxbase/oxc.h>

#include "common/shift_jis.h"
#include "common/trace.h"

namespace ox {
namespace {

// One character as a 16-bit unit, the lead byte of a double-byte one in the high half, so that "*" and "?" are never
// found inside one. 0 at the end.
struct Unit {
  std::uint32_t code;
  unsigned size;
};

Unit unit_at(const char* text) noexcept {
  if (*text == '\0') return {0, 0};
  const auto first = static_cast<unsigned char>(text[0]);
  if (character_size(text) == 1) return {first, 1};
  return {static_cast<std::uint32_t>(first << 8 | static_cast<unsigned char>(text[1])), 2};
}

// The next place from `text` on where what follows a "*" can begin to match.
const char* next_candidate(const char* text, Unit wanted) noexcept {
  if (wanted.code == '*' || wanted.code == '?') return text;
  while (*text != '\0') {
    const Unit found = unit_at(text);
    if (found.code == wanted.code) break;
    text += found.size;
  }
  return text;
}

}  // namespace

// Only the last "*" ever has to be tried again: what matched before an earlier one is the shortest beginning that can
// match, and the later one takes up the rest.
bool wildcard_match(const char* pattern, const char* text) noexcept {
  const char* after_star = nullptr;
  const char* star_text = nullptr;  // where the text continues after what the last "*" has taken so far
  while (*text != '\0') {
    const Unit wanted = unit_at(pattern);
    const Unit found = unit_at(text);
    if (wanted.code == '*') {
      after_star = ++pattern;
      if (*pattern == '\0') return true;
      text = star_text = next_candidate(text, unit_at(pattern));
    } else if (wanted.code == '?' || wanted.code == found.code) {
      pattern += wanted.size;
      text += found.size;
    } else if (after_star != nullptr) {
      star_text += unit_at(star_text).size;
      text = star_text = next_candidate(star_text, unit_at(after_star));
      pattern = after_star;
    } else {
      return false;
    }
  }
  while (*pattern == '*') ++pattern;
  return *pattern == '\0';
}

namespace {

std::uint32_t traced_match(const char* name, const char* pattern, const char* text) noexcept {
  OX_TRACE(trace::general, "<S:%s:%s:%s>\n", name, trace::text(pattern), trace::text(text));
  return traced(name, [&]() -> std::uint32_t {
    return pattern != nullptr && text != nullptr && wildcard_match(pattern, text) ? 1 : 0;
  });
}

}  // namespace
}  // namespace ox

uint32_t OX_CALL oxcRegMatch(const char* pattern, const char* text) {
  return ox::traced_match("oxcRegMatch", pattern, text);
}

// One pattern language under two names: callers choose by field and both are kept.
uint32_t OX_CALL oxcRegMatch2(const char* pattern, const char* text) {
  return ox::traced_match("oxcRegMatch2", pattern, text);
}
