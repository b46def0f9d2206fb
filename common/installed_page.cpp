#include "common/installed_page.h"

#include <atomic>

#include <oxbase/oxc.h>

#include "common/settings.h"
#include "common/trace.h"

namespace ox {
namespace {

std::uint32_t number_of_page() {
  const std::uint32_t set = settings::number("CodePage", 0);
  return set == platform::shift_jis || set == platform::utf8 ? set : platform::system_code_page();
}

std::atomic<const CodePage*> known{nullptr};

// When memory runs out the next call reads again.
const CodePage& read_page() noexcept {
  try {
    static const CodePage page(number_of_page());
    known.store(&page, std::memory_order_release);
    return page;
  } catch (...) {
    static const CodePage system(platform::system_code_page());
    return system;
  }
}

}  // namespace

const CodePage& installed_page() noexcept {
  const CodePage* const page = known.load(std::memory_order_acquire);
  return page != nullptr ? *page : read_page();
}

const CodePage& path_page() noexcept {
  if (installed_page().number() != platform::utf8) return installed_page();
  static const CodePage system(platform::system_code_page());
  return system;
}

std::string composed(std::string_view japanese) {
  static const CodePage page(platform::shift_jis);
  return converted(japanese, page, installed_page().number(), Unknown::stays);
}

}  // namespace ox

uint32_t OX_CALL oxcGetCodePage(void) {
  OX_ENTRY("oxcGetCodePage", "");
  return ox::traced("oxcGetCodePage", []() -> uint32_t { return ox::installed_page().number(); });
}
