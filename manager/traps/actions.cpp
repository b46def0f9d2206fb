#include "manager/traps/actions.h"

#include <array>

#include <oxbase/oxc.h>

namespace ox::manager {
namespace {

constexpr std::uint32_t most_words = 64;
constexpr std::size_t longest_value = 8000;  // systems limit the environment

struct TextVariable {
  const char* name;
  TextGetter get;
};
constexpr std::array text_variables{
    TextVariable{"OX_SUMMARY", &oxeEvmsgGetOptMsg},
    TextVariable{"OX_DETAIL", &oxeEvmsgGetMemo},
    TextVariable{"OX_COMPTYPE", &oxeEvmsgGetCompType},
    TextVariable{"OX_COMPNAME", &oxeEvmsgGetCompName},
    TextVariable{"OX_ENTERPRISE", &oxeEvmsgGetSnmpEnterprises},
};
struct NumberVariable {
  const char* name;
  NumberGetter get;
};
constexpr std::array number_variables{
    NumberVariable{"OX_SNDID", &oxeEvmsgGetSndId},
    NumberVariable{"OX_GENERIC", &oxeEvmsgGetSnmpGenTrap},
    NumberVariable{"OX_SPECIFIC", &oxeEvmsgGetSnmpSpecTrap},
};

std::vector<std::string> variables_of(const evmsg* event) {
  std::vector<std::string> variables;
  const auto add = [&](const char* name, const std::string& value) {
    variables.push_back(std::string(name) + '=' + value.substr(0, longest_value));
  };
  for (const TextVariable& variable : text_variables) add(variable.name, text_of(event, variable.get));
  for (const NumberVariable& variable : number_variables) {
    add(variable.name, std::to_string(number_of(event, variable.get)));
  }
  add("OX_SEVERITY", std::to_string(number_of(event, &oxeEvmsgGetEventType) & OX_EVENT_LEVEL));
  add("OX_AGENT", oxcIpAddrToStr(number_of(event, &oxeEvmsgGetSnmpAgentAddr)));
  return variables;
}

}  // namespace

std::string TrapActions::run(const std::string& action, const evmsg* event) {
  std::erase_if(running_, [](platform::Program& program) { return !program.running(); });
  if (most_ == 0) return "none may be run";
  if (running_.size() >= most_) return std::to_string(most_) + " are running";
  running_.reserve(running_.size() + 1);  // no memory is no reason to lose sight of a program that runs
  std::string line = action;
  char* words[most_words];
  std::uint32_t count = 0;
  if (const OX_RESULT result = oxcToken(line.data(), nullptr, words, most_words, &count)) {
    return action + ": " + oxcStrError(result);
  }
  platform::Program program;
  const auto error = program.start({words, words + count}, variables_of(event));
  if (error != platform::error_none) return action + ": platform error " + std::to_string(error);
  running_.push_back(std::move(program));
  return {};
}

}  // namespace ox::manager
