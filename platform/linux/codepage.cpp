#include "platform/codepage.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>

#include <cerrno>
#include <cstring>

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

std::size_t character_size(std::string_view text) noexcept {
  const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  const bool lead = (byte(0) >= 0x81 && byte(0) <= 0x9F) || (byte(0) >= 0xE0 && byte(0) <= 0xFC);
  if (!lead || text.size() < 2) return 1;
  return byte(1) >= 0x40 && byte(1) != 0x7F && byte(1) <= 0xFC ? 2 : 1;
}

class Converter {
 public:
  explicit Converter(const char* charset) noexcept : handle_(::iconv_open(charset, "CP932")) {}
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter() {
    if (*this) ::iconv_close(handle_);
  }
  [[nodiscard]] explicit operator bool() const noexcept { return handle_ != reinterpret_cast<iconv_t>(-1); }

  [[nodiscard]] bool convert(std::string_view character, std::string& to) const {
    char in[2];
    char out[16];
    std::memcpy(in, character.data(), character.size());
    char* from = in;
    char* into = out;
    std::size_t left = character.size();
    std::size_t room = sizeof out;
    const bool whole = ::iconv(handle_, &from, &left, &into, &room) == 0 && left == 0 &&
                       ::iconv(handle_, nullptr, nullptr, &into, &room) == 0;
    if (!whole) {
      ::iconv(handle_, nullptr, nullptr, nullptr, nullptr);
      return false;
    }
    to.append(out, sizeof out - room);
    return true;
  }

 private:
  iconv_t handle_;
};

}  // namespace

std::string from_cp932(std::string_view text) {
  const Converter converter(locale_charset().c_str());
  std::string converted;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, character_size(text));
    if (static_cast<unsigned char>(character[0]) < 0x80) {
      converted += character;  // as it is, though CP932 shows "\" as a yen sign
    } else if (!converter || !converter.convert(character, converted)) {
      converted += '?';
    }
    text.remove_prefix(character.size());
  }
  return converted;
}

}  // namespace ox::platform
