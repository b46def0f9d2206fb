#include "common/terminal_text.h"

#include <new>

#include <oxbase/oxc.h>

#include "common/code_page.h"
#include "platform/terminal.h"

namespace ox {
namespace {

using platform::Stream;

const CodePage& page() {
  static const CodePage installed(oxcGetCodePage());
  return installed;
}

void write(std::FILE* out, std::string_view text) noexcept {
  (void)std::fwrite(text.data(), 1, text.size(), out);
  if (out == stderr) (void)std::fflush(out);  // not every C runtime leaves it without a buffer
}

}  // namespace

std::string terminal_text(std::FILE* out, std::string_view text) {
  static const std::uint32_t output = platform::terminal_code_page(Stream::output);
  static const std::uint32_t errors = platform::terminal_code_page(Stream::errors);
  return converted(text, page(), out == stderr ? errors : output, Unknown::becomes_question_mark);
}

void print(std::FILE* out, std::string_view text) noexcept {
  try {
    write(out, terminal_text(out, text));
  } catch (const std::bad_alloc&) {
    write(out, text);
  }
}

std::string system_text(std::string_view text) {
  return converted(text, page(), platform::system_code_page(), Unknown::stays);
}

}  // namespace ox
