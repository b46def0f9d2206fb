#include "manager/sessions/frame.h"

#include <algorithm>
#include <cstring>

#include <oxbase/oxtypes.h>

namespace ox::manager {
namespace {

constexpr std::string_view header_marker{"pipeHeader", 11};  // both with their zero byte
constexpr std::string_view data_marker{"pipeData", 9};
constexpr std::size_t client_header = 49;  // without the destination name
constexpr std::size_t manager_header = 36;
constexpr std::size_t longest_name = 4096;
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
  const auto bytes = rest();
  if (bytes.size() < 4) return Result::incomplete;
  PayloadReader reader(bytes);
  const std::size_t header_length = reader.u32();
  if (header_length < client_header || header_length > client_header + longest_name) return broken("bad header length");
  if (bytes.size() < header_length) return Result::incomplete;

  reader = PayloadReader(bytes.subspan(4, header_length - 4));
  if (reader.u16() != header_marker.size() || !equals(reader.bytes(header_marker.size()), header_marker)) {
    return broken("no header marker");
  }
  const std::size_t data_length = reader.u32();
  if (data_length != 0 && data_length < data_marker.size()) return broken("bad data length");
  if (data_length > max_data_) return broken("message too large");
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

  if (bytes.size() < header_length + data_length) return Result::incomplete;
  if (data_length != 0) {
    const auto data = bytes.subspan(header_length, data_length);
    if (!equals(data.first(data_marker.size()), data_marker)) return broken("no data marker");
    const auto payload = data.subspan(data_marker.size());
    read.data.assign(payload.begin(), payload.end());
  }
  take(header_length + data_length);
  message = std::move(read);
  return Result::complete;
}

Bytes greeting_answer(std::uint32_t result) {
  PayloadWriter writer;
  writer.u16(4);  // counts itself, other than the greeting's
  writer.u16(result);
  return std::move(writer.out());
}

Bytes encode_reply(const Message& message) {
  PayloadWriter writer;
  writer.out().reserve(manager_header + message.data.size());
  writer.u32(manager_header);
  writer.u32(static_cast<std::uint32_t>(message.data.size()));
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
