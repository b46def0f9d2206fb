// Splits a line in place. A token is shortened as its quotes and backslashes are taken out, so the writing position
// never overtakes the reading position.
#include <array>

#include <oxbase/oxc.h>

#include "common/shift_jis.h"
#include "common/trace.h"

namespace {

class Separators {
 public:
  constexpr explicit Separators(const char* characters) noexcept {
    for (; *characters != '\0'; ++characters) set_[static_cast<unsigned char>(*characters)] = true;
  }
  [[nodiscard]] bool has(char c) const noexcept { return set_[static_cast<unsigned char>(c)]; }

 private:
  std::array<bool, 256> set_{};
};

constexpr Separators blank_and_tab(" \t");

// Copies one token to where it begins, without its quotes and backslashes, and terminates it. `position` comes to
// stand behind the separator that ended it, or at the line's end. False when a quote stays open.
bool take_token(char*& position, const Separators& separators) noexcept {
  char* out = position;
  char quote = '\0';
  while (*position != '\0') {
    const char c = *position;
    if (ox::character_size(position) == 2) {
      *out++ = *position++;  // the second byte may look like anything
    } else if (c == '\\' && position[1] != '\0') {
      ++position;
      if (ox::character_size(position) == 2) *out++ = *position++;
    } else if (quote != '\0' ? c == quote : c == '"' || c == '\'') {
      quote = quote != '\0' ? '\0' : c;
      ++position;
      continue;
    } else if (quote == '\0' && separators.has(c)) {
      ++position;
      break;
    }
    *out++ = *position++;
  }
  *out = '\0';
  return quote == '\0';
}

OX_RESULT split(char* line, const Separators& separators, char** tokens, std::uint32_t maximum,
                std::uint32_t& count) noexcept {
  for (char* position = line;;) {
    while (*position != '\0' && separators.has(*position)) ++position;
    if (*position == '\0') return OX_OK;
    if (count == maximum) return OX_ETOKENS;
    tokens[count++] = position;
    if (!take_token(position, separators)) return OX_EQUOTE;
  }
}

}  // namespace

OX_RESULT OX_CALL oxcToken(char* line, const char* separators, char** tokens, uint32_t maximum, uint32_t* count) {
  OX_ENTRY("oxcToken", ":%s:%s:%x:%u:%x", ox::trace::text(line), ox::trace::text(separators), ox::trace::word(tokens),
           maximum, ox::trace::word(count));
  return ox::traced("oxcToken", [&]() -> OX_RESULT {
    if (line == nullptr || count == nullptr || (tokens == nullptr && maximum != 0)) return OX_EARG;
    *count = 0;
    if (separators == nullptr) return split(line, blank_and_tab, tokens, maximum, *count);
    return split(line, Separators(separators), tokens, maximum, *count);
  });
}
