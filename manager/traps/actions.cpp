#include "manager/traps/actions.h"

#include <oxbase/oxc.h>

#include "common/code_page.h"
#include "manager/base/log.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t most_words = 64;
constexpr std::size_t longest_value = 8000;  // systems limit the environment

std::vector<std::string> variables_of(const evmsg* event) {
  static const CodePage page(oxcGetCodePage());
  std::vector<std::string> variables;
  const auto add = [&](const char* name, const std::string& value) {
    variables.push_back(std::string(name) + '=' + value.substr(0, page.fitting(value, longest_value)));
  };
  const auto add_text = [&](const char* name, TextGetter get) { add(name, text_of(event, get)); };
  const auto add_number = [&](const char* name, NumberGetter get) { add(name, std::to_string(number_of(event, get))); };
  add_text("OX_SUMMARY", &oxeEvmsgGetOptMsg);
  add_text("OX_DETAIL", &oxeEvmsgGetMemo);
  add_text("OX_COMPTYPE", &oxeEvmsgGetCompType);
  add_text("OX_COMPNAME", &oxeEvmsgGetCompName);
  add_text("OX_ENTERPRISE", &oxeEvmsgGetSnmpEnterprises);
  add_number("OX_SNDID", &oxeEvmsgGetSndId);
  add_number("OX_GENERIC", &oxeEvmsgGetSnmpGenTrap);
  add_number("OX_SPECIFIC", &oxeEvmsgGetSnmpSpecTrap);
  add("OX_SEVERITY", std::to_string(number_of(event, &oxeEvmsgGetEventType) & OX_EVENT_LEVEL));
  add("OX_AGENT", oxcIpAddrToStr(number_of(event, &oxeEvmsgGetSnmpAgentAddr)));
  return variables;
}

}  // namespace

std::string TrapActions::run(const std::string& action, const evmsg* event) {
  if (most_ == 0) return "none may be run";
  if (*running_ >= most_) return std::to_string(most_) + " are running";
  std::string line = action;
  char* words[most_words];
  std::uint32_t count = 0;
  if (const OX_RESULT result = oxcToken(line.data(), nullptr, words, most_words, &count)) {
    return action + ": " + oxcStrError(result);
  }
  Programs::Identity identity;
  const Programs::Order order{
      {words, words + count}, {.variables = variables_of(event), .outlives = true}, settings_.action_timeout};
  const auto done = [running = running_, action](const Programs::End& end) {
    --*running;
    if (end.killed)
      log(Severity::warning, "an action was killed, since it had run too long (ActionTimeout): " + action);
  };
  const auto error = programs_.start(order, identity, done);
  if (error != platform::error_none) return action + ": platform error " + std::to_string(error);
  ++*running_;
  return {};
}

}  // namespace ox::manager
