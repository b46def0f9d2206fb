#include "platform/codepage.h"

#include <windows.h>

namespace ox::platform {

std::uint32_t system_code_page() noexcept { return ::GetACP(); }
std::uint32_t own_code_page() noexcept { return ::GetACP(); }

bool is_lead_byte(std::uint32_t page, unsigned char byte) noexcept { return ::IsDBCSLeadByteEx(page, byte) != FALSE; }

Converter::Converter(std::uint32_t from, std::uint32_t to) noexcept
    : from_(from != 0 ? from : ::GetACP()), to_(to != 0 ? to : ::GetACP()) {}

Converter::~Converter() = default;

bool Converter::convert(std::string_view text, std::string& to) const {
  if (text.empty()) return true;
  const int size = static_cast<int>(text.size());
  std::wstring wide(text.size(), L'\0');  // no code page has longer texts in UTF-16
  const int units = ::MultiByteToWideChar(from_, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), size);
  if (units <= 0) return false;
  const std::size_t before = to.size();
  to.resize(before + static_cast<std::size_t>(units) * 4);
  BOOL replaced = FALSE;
  const bool is_utf8 = to_ == CP_UTF8;  // which has everything, and takes no such arguments
  const int bytes = ::WideCharToMultiByte(to_, is_utf8 ? 0 : WC_NO_BEST_FIT_CHARS, wide.data(), units,
                                          to.data() + before, units * 4, nullptr, is_utf8 ? nullptr : &replaced);
  const bool whole = bytes > 0 && replaced == FALSE;
  to.resize(whole ? before + static_cast<std::size_t>(bytes) : before);
  return whole;
}

}  // namespace ox::platform
