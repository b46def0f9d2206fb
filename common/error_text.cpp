#include "common/error_text.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/context.h"
#include "common/error_codes.h"
#include "common/fixed_message.h"
#include "common/installed_page.h"
#include "common/message_image.h"
#include "common/settings.h"
#include "common/text_result.h"
#include "platform/system_log.h"

namespace ox {
namespace {

constexpr std::size_t longest_with_number = 511;

// What oxcStrError hands out of a thread never moves: who has an earlier result sees the newest text there.
struct CodeText {
  static constexpr std::size_t longest = 4095;

  std::string whole;
  char text[longest + 1];
};

// A text that is too long ends with its last whole character that fits.
void show(CodeText& buffer) noexcept {
  const std::string_view text = buffer.whole.c_str();
  const std::size_t size = installed_page().fitting(text, CodeText::longest);
  std::memcpy(buffer.text, text.data(), size);
  buffer.text[size] = '\0';
}

struct PrefixedText {
  std::string text;
};

// Result code 259 says nothing by itself: the platform's number follows its text.
void append_platform_error(std::string& text) {
  const std::string number = fixed_message(FixedMessage::platform_error, {}, last_kept_platform_error());
  if (text.size() + number.size() <= longest_with_number) text += number;
}

}  // namespace

void write_error_text(OX_RESULT code, std::string& text) {
  if (code == OX_EDENIED) {
    text = fixed_message(FixedMessage::no_authorization);
    return;
  }
  const MessageFile* lines = message_lines();
  if (lines == nullptr) {
    text = message_failure();
    return;
  }
  std::string_view found = "Message Not Found";
  (void)lines->find(code, found);
  text = settings::language_is_japanese() ? composed(found) : std::string(found);
  if (code == OX_EPLATFORM) append_platform_error(text);
}

namespace {

// "prefix: text", the text alone for a null prefix, for the process's own surroundings. The prefix is the caller's and
// stays as it is.
std::string shown_with_prefix(const char* prefix, OX_RESULT code) {
  std::string text;
  write_error_text(code, text);
  text = converted(text, installed_page(), platform::own_code_page(), Unknown::becomes_question_mark);
  return prefix == nullptr ? text : prefix + (": " + text);
}

void print_error(const char* prefix, OX_RESULT code) {
  const std::string line = shown_with_prefix(prefix, code) + "\n";
  (void)std::fputs(line.c_str(), stderr);
}

struct Source {
  const char* program;
  const char* source;
};
constexpr Source sources[] = {
    {"oxbase", "TesBaseService"}, {"oxexpd", "TesExpertService"}, {"oxlogd", "TesLoggingService"}};

// Under which source a program's messages stand in the system event log.
const char* event_source(const char* program) noexcept {
  if (program == nullptr) return "TesCommonLibrary";
  for (const Source& row : sources) {
    if (equal_no_case(program, row.program)) return row.source;
  }
  return program;
}

OX_RESULT show_error(const char* program, const char* prefix, OX_RESULT code) {
  if (code == OX_OK) return OX_OK;
  const std::string text = shown_with_prefix(prefix, code);
  if (platform::is_service_process()) {
    (void)platform::system_log(event_source(program), 1, text.c_str());
  } else {
    platform::message_box(program != nullptr ? program : "", text.c_str());
  }
  return OX_OK;
}

bool is_event_type(std::uint32_t type) noexcept { return type == 1 || type == 2 || type == 4; }

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcInitErrmsg(void) {
  OX_ENTRY("oxcInitErrmsg", "");
  return ox::traced("oxcInitErrmsg", ox::load_messages);
}

const char* OX_CALL oxcStrError(OX_RESULT code) {
  OX_ENTRY("oxcStrError", ":%u", code);
  const char* text = ox::traced_text("oxcStrError", [&] {
    ox::CodeText& buffer = ox::context<ox::CodeText>();
    ox::write_error_text(code, buffer.whole);
    ox::show(buffer);
    return buffer.text;
  });
  return text != nullptr ? text : ox::shortage_text();
}

const char* OX_CALL oxcErrmsg(const char* prefix, OX_RESULT code) {
  OX_ENTRY("oxcErrmsg", ":%s:%u", ox::trace::text(prefix), code);
  return ox::traced_text("oxcErrmsg", [&] {
    // Made beside the buffer, in which the prefix may lie.
    std::string text;
    if (code != OX_OK) ox::write_error_text(code, text);
    if (code != OX_OK && prefix != nullptr) text = prefix + (": " + text);
    std::string& buffer = ox::context<ox::PrefixedText>().text;
    buffer.swap(text);
    return buffer.c_str();
  });
}

OX_RESULT OX_CALL oxcPerror(const char* prefix, OX_RESULT code) {
  OX_ENTRY("oxcPerror", ":%s:%u", ox::trace::text(prefix), code);
  return ox::traced("oxcPerror", [&]() -> OX_RESULT {
    if (code != OX_OK) ox::print_error(prefix, code);
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcPerrorMsgBox(const char* programName, OX_RESULT code) {
  OX_ENTRY("oxcPerrorMsgBox", ":%s:%u", ox::trace::text(programName), code);
  return ox::traced("oxcPerrorMsgBox", [&] { return ox::show_error(programName, nullptr, code); });
}

OX_RESULT OX_CALL oxcPerrorMsgBox2(const char* programName, const char* prefix, OX_RESULT code) {
  OX_ENTRY("oxcPerrorMsgBox2", ":%s:%s:%u", ox::trace::text(programName), ox::trace::text(prefix), code);
  return ox::traced("oxcPerrorMsgBox2", [&] { return ox::show_error(programName, prefix, code); });
}

OX_RESULT OX_CALL oxcSystemLog(const char* source, uint32_t type, const char* text) {
  OX_ENTRY("oxcSystemLog", ":%s:%d:%s", ox::trace::text(source), static_cast<int>(type), ox::trace::text(text));
  return ox::traced("oxcSystemLog", [&]() -> OX_RESULT {
    if (source == nullptr || text == nullptr || !ox::is_event_type(type)) return OX_EARG;
    return ox::code_of_platform_error(ox::platform::system_log(source, type, text));
  });
}
