#include "platform/terminal.h"

#include <langinfo.h>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string_view>

#include "platform/codepage.h"

namespace ox::platform {

bool is_terminal(Stream stream) noexcept { return ::isatty(static_cast<int>(stream)) == 1; }

int terminal_columns(Stream stream) noexcept {
  winsize size{};
  return ::ioctl(static_cast<int>(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::uint32_t terminal_code_page(Stream /*stream*/) noexcept { return own_code_page(); }

Arguments program_arguments(int argc, char** argv) { return {{argv + (argc != 0), argv + argc}, own_code_page()}; }

bool output_takes_utf8() noexcept {
  const locale_t user = ::newlocale(LC_CTYPE_MASK, "", nullptr);
  if (user == nullptr) return false;
  const bool takes = std::string_view(::nl_langinfo_l(CODESET, user)) == "UTF-8";
  ::freelocale(user);
  return takes;
}

void keep_output_bytes() noexcept {}

}  // namespace ox::platform
