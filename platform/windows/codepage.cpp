#include "platform/codepage.h"

#include <windows.h>

namespace ox::platform {
namespace {

constexpr UINT japanese = 932;

// One character; false when one of the two code pages does not have it.
bool convert(std::string_view character, std::string& to) {
  wchar_t wide[2];
  const int units = ::MultiByteToWideChar(japanese, MB_ERR_INVALID_CHARS, character.data(),
                                          static_cast<int>(character.size()), wide, 2);
  if (units <= 0) return false;
  char narrow[8];
  BOOL replaced = FALSE;
  const int bytes = ::WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide, units, narrow, sizeof narrow, nullptr,
                                          ::GetACP() == CP_UTF8 ? nullptr : &replaced);
  if (bytes <= 0 || replaced != FALSE) return false;
  to.append(narrow, static_cast<std::size_t>(bytes));
  return true;
}

}  // namespace

std::string from_cp932(std::string_view text) {
  if (::GetACP() == japanese) return std::string(text);
  std::string converted;
  while (!text.empty()) {
    const auto first = static_cast<BYTE>(text.front());
    const bool pair = text.size() > 1 && ::IsDBCSLeadByteEx(japanese, first) != FALSE;
    std::string_view character = text.substr(0, pair ? 2 : 1);
    if (first < 0x80) {
      converted += character;  // as it is, though code page 932 shows "\" as a yen sign
    } else if (!convert(character, converted)) {
      converted += '?';
    }
    text.remove_prefix(character.size());
  }
  return converted;
}

}  // namespace ox::platform
