#include "common/process.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "common/error_codes.h"
#include "common/memory.h"
#include "common/paths.h"
#include "common/trace.h"

namespace ox {
namespace {

constexpr std::uint32_t normal_priority = 32;
constexpr std::string_view blanks = " \t";

platform::Error fail(platform::Error error) noexcept {
  platform::set_last_error(error);
  return error;
}

// Cuts the first word off a line, which may stand in double quotes; without them.
std::string cut_word(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const bool quoted = line.starts_with('"');
  if (quoted) line.remove_prefix(1);
  const std::size_t end = std::min(quoted ? line.find('"') : line.find_first_of(blanks), line.size());
  const std::string word(line.substr(0, end));
  line.remove_prefix(std::min(end + (quoted ? 1 : 0), line.size()));
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  return word;
}

platform::Error take_apart(std::string_view rest, platform::Line& line) {
  constexpr std::uint32_t most = 1024;
  const auto words = make_tracked_array<char*>(most, "oxcCreateProcess");
  if (!words) out_of_memory();
  std::uint32_t count = 0;
  line.rest = rest;
  std::string text(rest);
  const OX_RESULT result = oxcToken(text.data(), nullptr, words.get(), most, &count);
  if (result == OX_ENOMEM) out_of_memory();
  line.words.assign(words.get(), words.get() + (result == OX_OK ? count : 0));
  return result == OX_OK ? platform::Error{platform::error_none} : fail(platform::error_invalid_parameter);
}

// The program with the folder that is named with it.
std::string find(const std::string& program) {
  const std::string name(file_name(program));
  std::string folder = program.substr(0, program.size() - name.size());
  if (folder.size() > 1) drop_last_separator(folder);  // the root is one alone
  return platform::program_in(folder, name);
}

OX_RESULT create(const char* program, const char* line, std::uint32_t flags, const char* output, oxcProcess** out) {
  const bool nothing = program == nullptr && (line == nullptr || *line == '\0');
  if (nothing || out == nullptr || (flags != 0 && flags != normal_priority)) return OX_EARG;
  process_ptr process;
  const platform::Error error = start_process(program, line, output, process);
  if (error != platform::error_none) return code_of_platform_error(error);
  *out = process.release();
  return OX_OK;
}

}  // namespace

platform::Error start_process(const char* program, const char* line, const char* output, process_ptr& process) {
  std::string_view rest = line != nullptr ? line : "";
  const std::string first = cut_word(rest);
  const std::string path = find(program != nullptr ? program : first);
  if (path.empty()) return fail(platform::error_file_not_found);
  platform::Line behind;
  if (const platform::Error error = take_apart(rest, behind)) return error;
  auto made = std::make_unique<oxcProcess>();
  const platform::Error error = platform::start_line(made->program, path, behind, output != nullptr ? output : "");
  if (error == platform::error_none) process = std::move(made);
  return error;
}

}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcCreateProcess(const char* program, const char* commandLine, uint32_t flags, const char* outputFile,
                                   oxcProcess** process) {
  OX_ENTRY("oxcCreateProcess", ":%s:%s:%x:%s:%x", trace::text(program), trace::text(commandLine), flags,
           trace::text(outputFile), trace::word(process));
  return traced("oxcCreateProcess", [&] { return create(program, commandLine, flags, outputFile, process); });
}

OX_RESULT OX_CALL oxcWaitForInputIdle(oxcProcess* process, uint32_t milliseconds) {
  OX_ENTRY("oxcWaitForInputIdle", ":%x:%u", trace::word(process), milliseconds);
  return traced("oxcWaitForInputIdle", [&] {
    if (process == nullptr) return OX_RESULT{OX_EARG};
    return code_of_platform_error(platform::wait_for_input(process->program, milliseconds));
  });
}

OX_RESULT OX_CALL oxcProcessEnded(oxcProcess* process, uint32_t* ended, int32_t* status) {
  OX_ENTRY("oxcProcessEnded", ":%x:%x:%x", trace::word(process), trace::word(ended), trace::word(status));
  return traced("oxcProcessEnded", [&]() -> OX_RESULT {
    if (process == nullptr || ended == nullptr) return OX_EARG;
    *ended = process->program.running() ? 0 : 1;
    if (*ended != 0 && status != nullptr) *status = process->program.wait({});
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcEndProcess(oxcProcess* process) {
  OX_ENTRY("oxcEndProcess", ":%x", trace::word(process));
  return traced("oxcEndProcess", [&]() -> OX_RESULT {
    if (process == nullptr) return OX_EARG;
    process->program.kill();
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcFreeProcess(oxcProcess* process) {
  OX_ENTRY("oxcFreeProcess", ":%x", trace::word(process));
  return traced("oxcFreeProcess", [&]() -> OX_RESULT {
    delete process;
    return OX_OK;
  });
}

uint32_t OX_CALL oxcProcessId(const oxcProcess* process) {
  OX_ENTRY("oxcProcessId", ":%x", trace::word(process));
  return traced("oxcProcessId", [&] { return process != nullptr ? process->program.id() : 0; });
}
