// The expert daemon as others see it, and the window by which a rule program is asked to end.
#include "common/error_codes.h"
#include "common/lasting.h"
#include "entries/rule/rule.h"
#include "platform/named_event.h"
#include "platform/service.h"
#include "platform/started_program.h"

struct oxrService {
  ox::platform::KnownService service;
};

namespace ox::entries {
namespace {

constexpr char expert_service[] = "Oxexpd";  // the system's names differ in case only
constexpr char expert_mutex[] = "OxExpdMutex";

oxrService* open_service() noexcept {
  oxrService* opened = nullptr;
  (void)guarded([&]() -> OX_RESULT {
    auto service = std::make_unique<oxrService>();
    const platform::Error error = service->service.open(expert_service);
    if (error == platform::error_none) opened = service.release();
    return error;
  });
  return opened;
}

Lasting<std::unique_ptr<platform::ClosableWindow>> the_window;

OX_RESULT open_window(const char* name) {
  if (name == nullptr || *name == '\0') return OX_EARG;
  auto window = std::make_unique<platform::ClosableWindow>();
  (*the_window).reset();
  const platform::Error error = window->open(name);
  if (error == platform::error_none) *the_window = std::move(window);
  return code_of_platform_error(error);
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

oxrService* OX_CALL oxrRuleOpen(void) {
  OX_RULE_START("oxrRuleOpen", "");
  oxrService* const service = open_service();
  OX_TRACE(trace::rules, "<E:oxrRuleOpen[%lx]>\n", static_cast<unsigned long>(trace::word(service)));
  return service;
}

OX_RESULT OX_CALL oxrRuleClose(oxrService* service) {
  OX_RULE_START("oxrRuleClose", "%lx", static_cast<unsigned long>(trace::word(service)));
  return OX_RULE_CALL("oxrRuleClose", [&] { return delete service, OX_RESULT{OX_OK}; });
}

uint32_t OX_CALL oxrExpdCheck(void) {
  OX_RULE_START("oxrExpdCheck", "");
  return OX_RULE_CALL("oxrExpdCheck", []() -> OX_RESULT {
    platform::NamedMutex mutex;
    return mutex.open(expert_mutex) == platform::error_none ? 1 : 0;
  });
}

OX_RESULT OX_CALL oxrWindowOpen(const char* entryName) {
  OX_RULE_START("oxrWindowOpen", "%s", trace::text(entryName));
  return OX_RULE_CALL("oxrWindowOpen", [&] { return open_window(entryName); });
}

uint32_t OX_CALL oxrWindowAsked(void) {
  OX_RULE_START("oxrWindowAsked", "");
  return OX_RULE_CALL("oxrWindowAsked",
                      []() -> OX_RESULT { return *the_window != nullptr && (*the_window)->is_asked() ? 1 : 0; });
}

OX_RESULT OX_CALL oxrWindowClose(void) {
  OX_RULE_START("oxrWindowClose", "");
  return OX_RULE_CALL("oxrWindowClose", [] { return (*the_window).reset(), OX_RESULT{OX_OK}; });
}
