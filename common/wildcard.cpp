#include "common/wildcard.h"

#include <cstring>

#include <oxbase/oxc.h>

#include "common/installed_page.h"
#include "common/trace.h"

namespace ox {
namespace {

// Whether ASCII stands there: nearly all that is met, for which the page need not be asked.
bool is_single(const char* text) noexcept { return static_cast<signed char>(*text) > 0; }

bool same_long(const CodePage& page, const char* pattern, const char* text) noexcept {
  const unsigned size = page.size(text);
  return page.size(pattern) == size && std::memcmp(pattern, text, size) == 0;
}

// Whether the same character begins at both. So "*" and "?" are never found inside a longer one.
bool same_character(const CodePage& page, const char* pattern, const char* text) noexcept {
  return *pattern == *text && (is_single(text) || same_long(page, pattern, text));
}

// The next place from `text` on where what follows a "*" can begin to match.
const char* next_candidate(const CodePage& page, const char* text, const char* wanted) noexcept {
  if (*wanted == '?') return text;
  for (;; text += page.size(text)) {
    while (is_single(text) && *text != *wanted) ++text;
    if (*text == '\0' || same_character(page, wanted, text)) return text;
  }
}

}  // namespace

// Only the last "*" ever has to be tried again: what matched before an earlier one is the shortest beginning that can
// match, and the later one takes up the rest.
bool wildcard_match(const CodePage& page, const char* pattern, const char* text) noexcept {
  const char* after_star = nullptr;
  const char* star_text = nullptr;  // where the text continues after what the last "*" has taken so far
  for (;;) {
    if (*pattern == '*') {
      while (*pattern == '*') ++pattern;
      if (*pattern == '\0') return true;
      after_star = pattern;
      text = star_text = next_candidate(page, text, pattern);
    }
    if (*text == '\0') return *pattern == '\0';
    const unsigned size = page.size(text);
    if (*pattern == '?') {
      ++pattern;
      text += size;
    } else if (same_character(page, pattern, text)) {
      pattern += size;
      text += size;
    } else {
      if (after_star == nullptr) return false;
      star_text += page.size(star_text);
      text = star_text = next_candidate(page, star_text, after_star);
      pattern = after_star;
    }
  }
}

namespace {

std::uint32_t traced_match(const char* name, const char* pattern, const char* text) noexcept {
  OX_TRACE(trace::general, "<S:%s:%s:%s>\n", name, trace::text(pattern), trace::text(text));
  return traced(name, [&]() -> std::uint32_t {
    return pattern != nullptr && text != nullptr && wildcard_match(installed_page(), pattern, text) ? 1 : 0;
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
