#include "platform/codepage.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

namespace ox::platform {
namespace {

// The character set of the user's locale, whether or not the program has called setlocale. The plain "C" locale says
// ASCII, which could show nothing; such terminals take UTF-8 nowadays.
std::string locale_charset() {
  const locale_t user = ::newlocale(LC_CTYPE_MASK, "", nullptr);
  if (user == nullptr) return "UTF-8";
  std::string name = ::nl_langinfo_l(CODESET, user);
  ::freelocale(user);
  return name.empty() || name == "ANSI_X3.4-1968" ? "UTF-8" : name;
}

std::string charset_of(std::uint32_t page) {
  if (page == 0) return locale_charset();
  return page == utf8 ? "UTF-8" : "CP" + std::to_string(page);
}

void* open(std::uint32_t from, std::uint32_t to) noexcept try {
  const iconv_t handle = ::iconv_open(charset_of(to).c_str(), charset_of(from).c_str());
  return handle != reinterpret_cast<iconv_t>(-1) ? handle : nullptr;
} catch (...) {
  return nullptr;
}

}  // namespace

std::uint32_t system_code_page() noexcept { return utf8; }

std::uint32_t own_code_page() noexcept try {
  const std::string name = locale_charset();
  if (name == "UTF-8") return utf8;
  // A Japanese locale's set has the yen sign in the backslash's place, which no path would survive.
  const bool japanese = name == "SHIFT_JIS" || name == "SJIS" || name == "CP932" || name == "WINDOWS-31J";
  return japanese ? shift_jis : 0;
} catch (...) {
  return utf8;
}

bool is_lead_byte(std::uint32_t /*page*/, unsigned char /*byte*/) noexcept { return false; }

Converter::Converter(std::uint32_t from, std::uint32_t to) noexcept : from_(from), to_(to), handle_(open(from, to)) {}

Converter::~Converter() {
  (void)from_, (void)to_;  // which the handle knows, here
  if (handle_ != nullptr) ::iconv_close(handle_);
}

bool Converter::convert(std::string_view text, std::string& to) const {
  if (handle_ == nullptr) return false;
  const std::size_t before = to.size();
  to.resize(before + text.size() * 4 + 16);
  char* from = const_cast<char*>(text.data());  // which it does not change
  char* into = to.data() + before;
  std::size_t left = text.size();
  std::size_t room = to.size() - before;
  const bool whole = ::iconv(handle_, &from, &left, &into, &room) == 0 && left == 0 &&
                     ::iconv(handle_, nullptr, nullptr, &into, &room) == 0;
  if (!whole) (void)::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
  to.resize(whole ? to.size() - room : before);
  return whole;
}

}  // namespace ox::platform
