// The interactive logon: one dialog for all applications that start at the same time.
#include <algorithm>
#include <string>
#include <string_view>

#include <oxbase/oxa.h>

#include "common/settings.h"
#include "common/trace.h"
#include "platform/environment.h"
#include "platform/named_event.h"
#include "platform/service.h"

namespace ox {
namespace {

constexpr char ok_event[] = "OxLogon_Ok";
constexpr char cancel_event[] = "OxLogon_Cancel";
constexpr char dialog_mutex[] = "OxLogon";  // held by the dialog while it runs
constexpr char dialog_program[] = "OxLogon.exe";
constexpr std::uint32_t dialog_pause_ms = 100;

struct Answer {
  platform::NamedEvent ok;
  platform::NamedEvent cancel;

  // Whether the application may go on.
  [[nodiscard]] bool wait() { return platform::NamedEvent::wait_any(ok, cancel, platform::infinite) == 0; }
};

bool equal_ignoring_case(const std::string& text, std::string_view upper) noexcept {
  return text.size() == upper.size() && std::equal(text.begin(), text.end(), upper.begin(), [](char a, char b) {
           return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
         });
}

bool logged_on() {
  if (equal_ignoring_case(settings::text("Authentication", 260), "OFF")) return true;
  for (;;) {
    Answer answer;
    if (platform::NamedMutex dialog; dialog.open(dialog_mutex) == platform::error_none) {
      if (answer.ok.open(ok_event) == platform::error_none &&
          answer.cancel.open(cancel_event) == platform::error_none) {
        dialog = platform::NamedMutex();  // the dialog's end must be seen by the others
        return answer.wait();
      }
      platform::sleep_ms(dialog_pause_ms);  // it is just ending
      continue;
    }
    if (answer.ok.create(ok_event, platform::Access::machine) != platform::error_none ||
        answer.cancel.create(cancel_event, platform::Access::machine) != platform::error_none) {
      return false;
    }
    answer.ok.reset();
    answer.cancel.reset();
    return platform::start_program(dialog_program) == platform::error_none && answer.wait();
  }
}

}  // namespace
}  // namespace ox

uint32_t OX_CALL oxaLogon(void) {
  using namespace ox;
  OX_TRACE(trace::messages, "<S:oxaLogon>\n");
  std::uint32_t may_go_on = 0;
  (void)guarded([&]() -> OX_RESULT {
    may_go_on = logged_on() ? 1 : 0;
    return OX_OK;
  });
  OX_TRACE(trace::messages, "<E:oxaLogon:[%d]>\n", static_cast<int>(may_go_on));
  return may_go_on;
}
