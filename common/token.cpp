// Splits a line in place. A token is shortened as its quotes and backslashes are taken out, so the writing position
// never overtakes the reading position.
#include <array>

#include <oxbase/oxc.h>

#include "common/installed_page.h"
#include "common/trace.h"

namespace {

class Separators {
 public:
  constexpr explicit Separators(const char* ascii) noexcept {
    for (; *ascii != '\0'; ++ascii) set(*ascii);
  }
  // Of single bytes: the bytes of a longer character separate nothing.
  Separators(const ox::CodePage& page, const char* characters) noexcept {
    for (unsigned size = 0; *characters != '\0'; characters += size) {
      size = page.size(characters);
      if (size == 1) set(*characters);
    }
  }
  [[nodiscard]] bool has(char c) const noexcept { return set_[static_cast<unsigned char>(c)]; }

 private:
  constexpr void set(char c) noexcept { set_[static_cast<unsigned char>(c)] = true; }

  std::array<bool, 256> set_{};
};

constexpr Separators blank_and_tab(" \t");

// Copies one token to where it begins, without its quotes and backslashes, and terminates it. `position` comes to
// stand behind the separator that ended it, or at the line's end. False when a quote stays open.
bool take_token(const ox::CodePage& page, char*& position, const Separators& separators) noexcept {
  char* out = position;
  char quote = '\0';
  while (*position != '\0') {
    const char c = *position;
    if (c == '\\' && position[1] != '\0') {
      ++position;
    } else if (quote != '\0' ? c == quote : c == '"' || c == '\'') {
      quote = quote != '\0' ? '\0' : c;
      ++position;
      continue;
    } else if (quote == '\0' && separators.has(c)) {
      ++position;
      break;
    }
    // All bytes of a character: those behind the first may look like anything.
    for (unsigned left = page.size(position); left != 0; --left) *out++ = *position++;
  }
  *out = '\0';
  return quote == '\0';
}

OX_RESULT split(const ox::CodePage& page, char* line, const Separators& separators, char** tokens,
                std::uint32_t maximum, std::uint32_t& count) noexcept {
  for (char* position = line;;) {
    while (*position != '\0' && separators.has(*position)) ++position;
    if (*position == '\0') return OX_OK;
    if (count == maximum) return OX_ETOKENS;
    tokens[count++] = position;
    if (!take_token(page, position, separators)) return OX_EQUOTE;
  }
}

}  // namespace

OX_RESULT OX_CALL oxcToken(char* line, const char* separators, char** tokens, uint32_t maximum, uint32_t* count) {
  OX_ENTRY("oxcToken", ":%s:%s:%x:%u:%x", ox::trace::text(line), ox::trace::text(separators), ox::trace::word(tokens),
           maximum, ox::trace::word(count));
  return ox::traced("oxcToken", [&]() -> OX_RESULT {
    if (line == nullptr || count == nullptr || (tokens == nullptr && maximum != 0)) return OX_EARG;
    *count = 0;
    const ox::CodePage& page = ox::installed_page();
    if (separators == nullptr) return split(page, line, blank_and_tab, tokens, maximum, *count);
    return split(page, line, Separators(page, separators), tokens, maximum, *count);
  });
}
