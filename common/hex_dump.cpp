// Hex dumps to the console and to the debug trace: 16 bytes a line, as hex and as characters.
#include <algorithm>
#include <cctype>

#include <oxbase/oxc.h>

#include "common/context.h"
#include "common/error_codes.h"
#include "common/trace.h"
#include "platform/console.h"

namespace ox {
namespace {

constexpr std::uint32_t line_bytes = 16;
constexpr std::size_t text_column = 52;
constexpr std::size_t line_size = text_column + line_bytes + 1;  // with the newline

struct Line {
  char text[line_size + 1];
};

char shown(unsigned char byte) noexcept {
  return std::isalnum(byte) != 0 || std::ispunct(byte) != 0 || byte == ' ' ? static_cast<char>(byte) : '.';
}

Line format_line(const unsigned char* bytes, std::uint32_t count) noexcept {
  static constexpr char digits[] = "0123456789abcdef";
  Line line;
  std::fill(line.text, line.text + line_size, ' ');
  line.text[text_column - 3] = ':';
  for (std::size_t i = 0; i < count; ++i) {
    line.text[3 * i] = digits[bytes[i] >> 4];
    line.text[3 * i + 1] = digits[bytes[i] & 15];
    line.text[text_column + i] = shown(bytes[i]);
  }
  line.text[line_size - 1] = '\n';
  line.text[line_size] = '\0';
  return line;
}

// Passes the dump line by line to `put`, which returns a result code; the first failure ends it.
template <class Put>
OX_RESULT dump(const void* data, std::uint32_t length, Put put) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (std::uint32_t at = 0; at < length; at += std::min(line_bytes, length - at)) {
    const Line line = format_line(bytes + at, std::min(line_bytes, length - at));
    if (const OX_RESULT result = put(line)) return result;
  }
  return OX_OK;
}

struct DumpContext {
  bool console_held = false;  // each thread that dumps asks for the console once
};

OX_RESULT dump_to_console(const void* data, std::uint32_t length) {
  DumpContext& mine = context<DumpContext>();
  if (!mine.console_held) {
    if (const auto error = platform::console_allocate()) return code_of_platform_error(error);
    mine.console_held = true;
  }
  return dump(data, length, [](const Line& line) {
    const auto error = platform::console_write({line.text, line_size});
    return error != platform::error_none ? code_of_platform_error(error) : OX_RESULT{OX_OK};
  });
}

OX_RESULT dump_to_trace(std::uint32_t bit, const void* data, std::uint32_t length) noexcept {
  if (!trace::on(bit)) return OX_OK;
  if (data == nullptr && length != 0) return OX_EARG;
  (void)dump(data, length, [](const Line& line) { return trace::write("%s", line.text); });
  return OX_OK;
}

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcMemDump(const void* data, uint32_t length) {
  if (data == nullptr && length != 0) return OX_EARG;
  return ox::guarded([&] { return ox::dump_to_console(data, length); });
}

OX_RESULT OX_CALL oxcMemDumpLog(const void* data, uint32_t length) {
  return ox::dump_to_trace(ox::trace::dump, data, length);
}
OX_RESULT OX_CALL oxcMemDumpLogForSNMP(const void* data, uint32_t length) {
  return ox::dump_to_trace(ox::trace::snmp_dump, data, length);
}
OX_RESULT OX_CALL oxcMemDumpLogForSNMPTrap(const void* data, uint32_t length) {
  return ox::dump_to_trace(ox::trace::trap_dump, data, length);
}
OX_RESULT OX_CALL oxcMemDumpLogForICMP(const void* data, uint32_t length) {
  return ox::dump_to_trace(ox::trace::icmp_dump, data, length);
}
OX_RESULT OX_CALL oxcMemDumpLogForRMGR(const void* data, uint32_t length) {
  return ox::dump_to_trace(ox::trace::remote_dump, data, length);
}
