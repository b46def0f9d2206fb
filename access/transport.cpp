#include "access/transport.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>

#include <oxbase/oxc.h>

#include "access/shown_data.h"
#include "common/bytes.h"
#include "common/protocol.h"
#include "common/trace.h"

namespace ox {
namespace {

constexpr std::size_t piece = 4096;  // what one read or write of the pipe carries at most

// Without memory for what may be shown, nothing is.
void dump_data(std::uint32_t command, std::span<const unsigned char> data) noexcept {
  try {
    const std::size_t before = data.size() - payload_of(static_cast<std::uint32_t>(data.size()));
    std::string shown(reinterpret_cast<const char*>(data.data()), before);
    shown += shown_payload(command, data.subspan(before));
    (void)oxcMemDumpLog(shown.data(), static_cast<std::uint32_t>(shown.size()));
  } catch (const std::bad_alloc&) {
  }
}

void trace_sending(const Frame& frame) noexcept {
  const std::span<const unsigned char> header = frame.header();
  const auto half = [&](std::size_t at) { return static_cast<int>(header[at] << 8 | header[at + 1]); };
  const auto word = [&](std::size_t at) {
    return static_cast<std::uint32_t>(half(at)) << 16 | static_cast<std::uint32_t>(half(at + 2));
  };
  const char* name = half(43) != 0 ? reinterpret_cast<const char*>(header.data() + 45) : nullptr;
  OX_TRACE(trace::amib, "<M:amib_sendmsg(H%d,D%d,T%d,C%d,E%d,S%x:[%s],D%x:[%s])>\n", static_cast<int>(word(0)),
           static_cast<int>(word(17)), half(23), half(25), half(27), word(33), "", word(37), trace::text(name));
  OX_TRACE(trace::messages, "================== send DATA ==================\n");
  if (trace::on(trace::dump)) {
    (void)oxcMemDumpLog(header.data(), static_cast<std::uint32_t>(header.size()));
    if (!frame.data_part().empty()) dump_data(static_cast<std::uint32_t>(half(25)), frame.data_part());
  }
  OX_TRACE(trace::messages, "===============================================\n");
}

}  // namespace

platform::Error Transport::open(const char* name) {
  reader_.reset();
  broken_ = false;
  data_limit_ = UINT32_MAX;
  return source_.pipe.open(name);
}

void Transport::close() noexcept { source_.pipe.close(); }

void Transport::hang_up() noexcept {
  broken_ = true;
  source_.pipe.hang_up();
}

OX_RESULT Transport::write(std::span<const unsigned char> bytes) noexcept {
  while (!bytes.empty()) {
    const std::size_t part = std::min(bytes.size(), piece);
    const platform::Error error = source_.pipe.write_all(std::as_bytes(bytes.first(part)));
    if (error != platform::error_none) {
      broken_ = true;
      return code_of_pipe_error(error);
    }
    bytes = bytes.subspan(part);
  }
  return OX_OK;
}

OX_RESULT Transport::send(const Frame& frame) noexcept {
  OX_TRACE(trace::messages, "<S:amib_sendmsg(%x)>\n", trace::word(&frame));
  if (trace::on(trace::amib | trace::messages | trace::dump)) [[unlikely]]
    trace_sending(frame);
  const OX_RESULT result = write(frame.all());
  OX_TRACE(trace::messages, "<E:amib_sendmsg[%ld]>\n", trace::number(result));
  return result;
}

OX_RESULT Transport::receive(MessagePtr& message) {
  const OX_RESULT result = reader_.receive(message);
  if (!reader_.in_step()) broken_ = true;
  return result;
}

OX_RESULT Transport::greet(const char* name, platform::Notification& notification) {
  std::array<unsigned char, 128> greeting;
  const std::size_t name_size = std::strlen(name) + 1;
  if (name_size > greeting.size() - 4) return OX_EENCODEDLONG;
  Writer out(greeting.data(), 4 + name_size);
  out.put(static_cast<std::uint16_t>(2 + name_size));  // this total does not count itself; that of the answer does
  out.put(static_cast<std::uint16_t>(name_size));
  out.put_bytes(name, name_size);
  out.finish();
  if (const OX_RESULT result = write(std::span(greeting).first(4 + name_size))) {
    OX_TRACE(trace::messages, "<M:oxaInit(sock_send ERR)>\n");
    return result;
  }
  OX_TRACE(trace::messages, "<M:oxaInit(pid,uid sent)>\n");
  source_.expected = &notification;
  return read_answer();
}

OX_RESULT Transport::read_answer() noexcept {
  std::array<unsigned char, 4> answer;
  std::uint16_t total = 0;
  std::uint16_t code = 0;
  OX_RESULT result = reader_.take(std::span(answer).first(2));
  if (result == OX_OK) {
    (void)Reader(answer.data(), 2).take(total);
    result = total < answer.size() ? OX_RESULT{OX_ETRUNCATED} : reader_.take(std::span(answer).last(2));
  }
  if (result == OX_OK) {
    (void)Reader(answer.data() + 2, 2).take(code);
    result = read_limit(total - answer.size());
  }
  if (result != OX_OK) {
    OX_TRACE(trace::messages, "<M:oxaInit(sock_recv ERR)>\n");
    return result;
  }
  return code;
}

// What follows the code: a name and a number. Managers that tell nothing there, or something else, are passed over.
OX_RESULT Transport::read_limit(std::size_t size) noexcept {
  std::array<unsigned char, 2 + sizeof greeting_limit_name + 4> setting;
  if (size < setting.size()) return reader_.skip(size);
  if (const OX_RESULT result = reader_.take(setting)) return result;
  Reader in(setting.data(), setting.size());
  std::uint16_t name_size = 0;
  const unsigned char* name = nullptr;
  std::uint32_t number = 0;
  if (in.take(name_size) && name_size == sizeof greeting_limit_name && in.take_bytes(name_size, name) &&
      in.take(number) && std::memcmp(name, greeting_limit_name, name_size) == 0) {
    data_limit_ = number;
  }
  return reader_.skip(size - setting.size());
}

}  // namespace ox
