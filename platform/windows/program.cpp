#include "platform/server/program.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/windows/fail.h"

namespace ox::platform {
namespace {

// One argument as programs take their command line apart: backslashes count only before a quote.
std::string quoted(const std::string& argument) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') text.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  return text.append(backslashes, '\\') + '"';
}

std::string command_line(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) line += (line.empty() ? "" : " ") + quoted(argument);
  return line;
}

// Whether they have the variable's name, in which case does not count.
bool give(const std::vector<std::string>& variables, std::string_view variable) {
  const std::size_t size = variable.find('=', 1) + 1;  // the system's own begin with one
  return std::any_of(variables.begin(), variables.end(), [variable, size](const std::string& given) {
    return given.size() >= size && ::_strnicmp(given.data(), variable.data(), size) == 0;
  });
}

// The variables, and this process's own of other names; each with its zero byte, and one more.
std::string environment(const std::vector<std::string>& variables) {
  std::string block;
  for (const std::string& variable : variables) block += variable + '\0';
  const std::unique_ptr<char, decltype(&::FreeEnvironmentStringsA)> own(::GetEnvironmentStringsA(),
                                                                        ::FreeEnvironmentStringsA);
  for (const char* variable = own.get(); variable != nullptr && *variable != '\0';) {
    const std::string_view text = variable;
    if (!give(variables, text)) block.append(text).push_back('\0');
    variable += text.size() + 1;
  }
  return block + '\0';
}

HANDLE handle_of(std::intptr_t process) { return reinterpret_cast<HANDLE>(process); }

}  // namespace

const int reload_signal = 0;

Program::Program(Program&& other) noexcept : process_(std::exchange(other.process_, 0)) {}
Program& Program::operator=(Program&& other) noexcept {
  std::swap(process_, other.process_);
  return *this;
}
Program::~Program() {
  if (process_ != 0) (void)::CloseHandle(handle_of(process_));
}

Error Program::start(const std::vector<std::string>& arguments, const std::vector<std::string>& variables) {
  if (arguments.empty()) return fail(error_invalid_parameter);
  std::string line = command_line(arguments);
  std::string block = environment(variables);
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION made{};
  if (::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, block.data(), nullptr, &startup,
                       &made) == FALSE) {
    return fail_last();
  }
  (void)::CloseHandle(made.hThread);
  process_ = reinterpret_cast<std::intptr_t>(made.hProcess);
  return error_none;
}

bool Program::running() {
  if (process_ == 0) return false;
  if (::WaitForSingleObject(handle_of(process_), 0) == WAIT_TIMEOUT) return true;
  (void)::CloseHandle(handle_of(std::exchange(process_, 0)));
  return false;
}

}  // namespace ox::platform
