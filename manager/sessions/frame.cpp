#include "manager/sessions/frame.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <oxbase/oxtypes.h>

#include "common/protocol.h"

namespace ox::manager {
namespace {

constexpr std::string_view header_marker{"pipeHeader", 11};  // both with their zero byte
constexpr std::string_view data_marker{"pipeData", 9};
constexpr std::size_t client_header = 49;  // without the destination name
constexpr std::size_t manager_header = 36;
constexpr std::size_t longest_names = 2 * 65535;
constexpr std::size_t longest_event_name = 260;

bool equals(std::span<const std::byte> bytes, std::string_view text) {
  return bytes.size() == text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

}  // namespace

void FrameReader::append(std::span<const std::byte> bytes) {
  if (taken_ != 0) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

void FrameReader::take(std::size_t count) {
  taken_ += count;
  if (taken_ == buffer_.size()) {
    buffer_.clear();
    taken_ = 0;
  }
}

FrameReader::Result FrameReader::broken(const char* fault) {
  fault_ = fault;
  return Result::broken;
}

FrameReader::Result FrameReader::next_greeting(std::string& event_name) {
  const auto bytes = rest();
  if (bytes.size() < 4) return Result::incomplete;
  PayloadReader reader(bytes);
  const std::uint32_t total = reader.u16();  // does not count itself
  const std::uint32_t length = reader.u16();
  if (length < 2 || length > longest_event_name || total != length + 2) return broken("bad greeting");
  if (bytes.size() < total + 2u) return Result::incomplete;
  PayloadReader text(bytes.subspan(2, total));
  event_name = text.text();
  if (text.error() != 0) return broken("bad greeting");
  take(total + 2u);
  return Result::complete;
}

FrameReader::Result FrameReader::next(Message& message) {
  if (!in_data_) {
    if (const Result result = read_header(); result != Result::complete) return result;
  }
  if (const Result result = read_data(); result != Result::complete) return result;
  message = std::exchange(begun_, {});
  return Result::complete;
}

// Up to the first byte of the payload.
FrameReader::Result FrameReader::read_header() {
  const auto bytes = rest();
  if (bytes.size() < 4) return Result::incomplete;
  PayloadReader reader(bytes);
  const std::size_t length = reader.u32();
  if (length < client_header || length > client_header + longest_names) return broken("bad header length");
  if (bytes.size() < length) return Result::incomplete;

  reader = PayloadReader(bytes.subspan(4, length - 4));
  if (reader.u16() != header_marker.size() || !equals(reader.bytes(header_marker.size()), header_marker)) {
    return broken("no header marker");
  }
  const std::size_t data_length = reader.u32();
  const std::size_t marker = data_length != 0 ? data_marker.size() : 0;
  if (data_length < marker) return broken("bad data length");
  (void)reader.u16();  // version: every client sends 2, and nothing depends on it
  Message read;
  read.type = reader.u16();
  read.command = reader.u16();
  read.error = reader.u16();
  (void)reader.u32();  // reserved
  read.source_id = reader.u32();
  read.destination_id = reader.u32();
  (void)reader.text();  // source name
  read.destination = reader.text();
  read.reference = reader.u32();
  if (reader.error() != 0) return broken("names run past the header");

  if (bytes.size() < length + marker) return Result::incomplete;
  if (marker != 0 && !equals(bytes.subspan(length, marker), data_marker)) return broken("no data marker");
  if (data_length > max_data_) read.refusal = OX_EENCODEDLONG;
  begun_ = std::move(read);
  data_left_ = data_length - marker;
  in_data_ = true;
  take(length + marker);
  return Result::complete;
}

FrameReader::Result FrameReader::read_data() {
  const auto part = rest().first(std::min(rest().size(), data_left_));
  if (begun_.refusal == OX_OK) keep(part);
  data_left_ -= part.size();
  take(part.size());
  if (data_left_ != 0) return Result::incomplete;
  in_data_ = false;
  return Result::complete;
}

// Room grows with what has come, and not beyond what is to come.
void FrameReader::keep(std::span<const std::byte> data) noexcept {
  try {
    const std::size_t has = begun_.data.size();
    const std::size_t needed = has + data.size();
    if (needed > begun_.data.capacity()) begun_.data.reserve(std::min(has + data_left_, std::max(needed, 2 * has)));
    begun_.data.insert(begun_.data.end(), data.begin(), data.end());
  } catch (const std::bad_alloc&) {
    begun_.refusal = OX_ENOMEM;
    begun_.data = Bytes();
  }
}

void FrameReader::pass_over(std::uint32_t refusal) noexcept {
  if (!in_data_ || begun_.refusal != OX_OK) return;
  begun_.refusal = refusal;
  begun_.data = Bytes();
}

// Every total counts itself, other than the greeting's.
Bytes greeting_answer(std::size_t max_data) {
  PayloadWriter writer;
  writer.u16(static_cast<std::uint32_t>(4 + 2 + sizeof greeting_limit_name + 4));
  writer.u16(OX_OK);
  writer.text(greeting_limit_name);
  writer.u32(static_cast<std::uint32_t>(max_data));
  return std::move(writer.out());
}

Bytes greeting_refusal(std::uint32_t result) {
  PayloadWriter writer;
  writer.u16(4);
  writer.u16(result);
  return std::move(writer.out());
}

Bytes encode_reply(const Message& message, std::uint64_t rest) {
  PayloadWriter writer;
  writer.out().reserve(manager_header + message.data.size());
  writer.u32(manager_header);
  writer.u32(static_cast<std::uint32_t>(message.data.size() + rest));
  writer.u16(2);
  writer.u16(message.type);
  writer.u16(message.command);
  writer.u16(message.error);
  writer.u32(0);
  writer.u32(message.source_id);
  writer.u32(message.destination_id);
  writer.u16(0);
  writer.u16(0);
  writer.u32(message.reference);
  writer.bytes(message.data);
  return std::move(writer.out());
}

}  // namespace ox::manager
