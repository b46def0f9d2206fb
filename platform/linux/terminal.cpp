#include "platform/terminal.h"

#include <langinfo.h>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string_view>

namespace ox::platform {

bool is_terminal(Stream stream) noexcept { return ::isatty(static_cast<int>(stream)) == 1; }

int terminal_columns(Stream stream) noexcept {
  winsize size{};
  return ::ioctl(static_cast<int>(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool output_takes_utf8() noexcept {
  const locale_t user = ::newlocale(LC_CTYPE_MASK, "", nullptr);
  if (user == nullptr) return false;
  const bool utf8 = std::string_view(::nl_langinfo_l(CODESET, user)) == "UTF-8";
  ::freelocale(user);
  return utf8;
}

void keep_output_bytes() noexcept {}

}  // namespace ox::platform
