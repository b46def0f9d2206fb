#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include <oxbase/oxc.h>

#include "access/shown_data.h"
#include "access/transport.h"
#include "common/bytes.h"
#include "common/error_codes.h"
#include "common/memory.h"
#include "common/trace.h"

namespace ox {
namespace {

// A length over this is no message of a living manager. Longer data than first_block are believed only as they arrive.
constexpr std::uint32_t data_maximum = 0x7FFFFFFF;
constexpr std::uint32_t first_block = 1u << 20;

// null for no name, also in `name`; false when memory runs out.
bool copy_name(std::span<const unsigned char> name, char*& copy) noexcept {
  if (name.empty()) return true;
  copy = static_cast<char*>(oxcMemAlloc(static_cast<std::uint32_t>(name.size()) + 1, "str_set"));
  if (copy == nullptr) return false;
  std::memcpy(copy, name.data(), name.size());
  copy[name.size()] = '\0';
  return true;
}

// Null when memory runs out.
MessagePtr make_message(const ReceivedHeader& header) noexcept {
  MessagePtr message(make_tracked<Message>("msg_000").release());
  if (message == nullptr) return nullptr;
  OX_TRACE(trace::messages, "<M:amib_recvmsg(som=%x)>\n", trace::word(message.get()));
  message->header_length = header.header_length;
  message->data_length = header.data_length;
  message->version = header.version;
  message->type = header.type;
  message->command = header.command;
  message->error = header.error;
  message->reserved1 = header.reserved1;
  message->reserved2 = header.reserved2;
  message->source_id = header.source_id;
  message->destination_id = header.destination_id;
  message->reference = header.reference;
  if (!copy_name(header.source_name, message->source_name) ||
      !copy_name(header.destination_name, message->destination_name)) {
    return nullptr;
  }
  return message;
}

void trace_received(const Message& message, std::span<const unsigned char> header) noexcept {
  OX_TRACE(trace::messages, "<M:amib_recvmsg(H%d,D%d,T%d,C%d,E%d,S%x:[%s],D%x:[%s])>\n",
           static_cast<int>(message.header_length), static_cast<int>(message.data_length),
           static_cast<int>(message.type), static_cast<int>(message.command), static_cast<int>(message.error),
           message.source_id, trace::text(message.source_name), message.destination_id,
           trace::text(message.destination_name));
  OX_TRACE(trace::messages, "================== Received ===================\n");
  if (trace::on(trace::dump)) (void)oxcMemDumpLog(header.data(), static_cast<std::uint32_t>(header.size()));
}

// Without memory for what may be shown, nothing is.
void dump_answer(std::uint32_t command, std::span<const unsigned char> data) noexcept {
  try {
    const std::string shown = shown_answer(command, data);
    (void)oxcMemDumpLog(shown.data(), static_cast<std::uint32_t>(shown.size()));
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

OX_RESULT code_of_pipe_error(platform::Error error) noexcept {
  return platform::is_pipe_closed(error) ? OX_RESULT{OX_ECLOSED} : code_of_platform_error(error);
}

void MessageReader::reset() noexcept {
  begin_ = end_ = 0;
  in_step_ = true;
}

// One read of the stream. More data than there was room for is no failure.
OX_RESULT MessageReader::read(std::span<unsigned char> into, std::size_t& got) noexcept {
  const platform::Error error = source_->read_some(std::as_writable_bytes(into), got);
  if (error != platform::error_none && error != platform::error_more_data) return code_of_pipe_error(error);
  return got != 0 ? OX_RESULT{OX_OK} : OX_RESULT{OX_ECLOSED};
}

// At least `size` bytes, no more than the buffer holds, in one piece at begin_.
OX_RESULT MessageReader::fill(std::size_t size) noexcept {
  if (buffered() >= size) return OX_OK;
  if (begin_ != 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, buffered());
    end_ = buffered();
    begin_ = 0;
  }
  while (end_ < size) {
    std::size_t got = 0;
    if (const OX_RESULT result = read(std::span(buffer_).subspan(end_), got)) return result;
    end_ += got;
  }
  return OX_OK;
}

OX_RESULT MessageReader::take(std::span<unsigned char> into) noexcept {
  while (!into.empty()) {
    std::size_t part = std::min(buffered(), into.size());
    if (part == 0 && into.size() >= buffer_.size()) {  // straight to where it belongs
      if (const OX_RESULT result = read(into.first(buffer_.size()), part)) return result;
    } else if (part == 0) {
      if (const OX_RESULT result = fill(1)) return result;
    } else {
      std::memcpy(into.data(), buffer_.data() + begin_, part);
      begin_ += part;
    }
    into = into.subspan(part);
  }
  return OX_OK;
}

OX_RESULT MessageReader::skip(std::size_t size) noexcept {
  while (size != 0) {
    if (buffered() == 0) {
      if (const OX_RESULT result = fill(1)) return result;
    }
    const std::size_t part = std::min(buffered(), size);
    begin_ += part;
    size -= part;
  }
  return OX_OK;
}

OX_RESULT MessageReader::receive(MessagePtr& message) {
  OX_TRACE(trace::messages, "<S:amib_recvmsg(%x)>\n", trace::word(&message));
  in_step_ = false;
  const OX_RESULT result = guarded([&] { return receive_parts(message); });
  if (result == OX_OK) in_step_ = true;
  OX_TRACE(trace::messages, "<E:amib_recvmsg[%ld:%d]>\n", trace::number(result),
           static_cast<int>(platform::last_error()));
  return result;
}

// The header is parsed where it was read; only one that is longer than the buffer gets a block.
OX_RESULT MessageReader::receive_parts(MessagePtr& message) {
  if (const OX_RESULT result = fill(4)) return result;
  std::uint32_t length = 0;
  (void)Reader(buffer_.data() + begin_, 4).take(length);
  OX_TRACE(trace::messages, "<M:amib_recvmsg(hlen=%d)>\n", static_cast<int>(length));
  if (length < received_header_minimum || length > received_header_maximum) return OX_ETRUNCATED;

  if (length <= buffer_.size()) {
    if (const OX_RESULT result = fill(length)) return result;
    const std::span<const unsigned char> header(buffer_.data() + begin_, length);
    begin_ += length;
    return receive_body(header, message);
  }
  const auto header = make_tracked_array<unsigned char>(length, "sock_header");
  if (!header) return OX_ENOMEM;
  if (const OX_RESULT result = take({header.get(), length})) return result;
  return receive_body({header.get(), length}, message);
}

// `bytes` may lie in the buffer: they are gone as soon as data are taken.
OX_RESULT MessageReader::receive_body(std::span<const unsigned char> bytes, MessagePtr& message) {
  ReceivedHeader header;
  if (const OX_RESULT result = parse_received_header(bytes, header)) return result;
  const std::uint32_t size = header.data_length;
  if (size > data_maximum) return OX_ENOMEM;
  MessagePtr received = make_message(header);
  tracked_ptr<unsigned char[]> data;
  if (received != nullptr) {
    trace_received(*received, bytes);
    data.reset(size == 0 ? nullptr
                         : static_cast<unsigned char*>(oxcMemAlloc(std::min(size, first_block), "sock_data_000")));
  }
  if (received == nullptr || (size != 0 && !data)) {  // a message that was passed over does not end the session
    if (size <= first_block) in_step_ = skip(size) == OX_OK;
    return OX_ENOMEM;
  }
  if (const OX_RESULT result = take_data(size, data)) return result;
  if (size != 0 && trace::on(trace::dump)) dump_answer(received->command, {data.get(), size});
  OX_TRACE(trace::messages, "===============================================\n");
  received->data = data.release();
  message = std::move(received);
  return OX_OK;
}

// `data` holds min(size, first_block) bytes and grows with what arrives.
OX_RESULT MessageReader::take_data(std::uint32_t size, tracked_ptr<unsigned char[]>& data) {
  std::uint32_t room = std::min(size, first_block);
  for (std::uint32_t at = 0;;) {
    if (const OX_RESULT result = take({data.get() + at, room - at})) return result;
    if (room == size) return OX_OK;
    at = room;
    room = size - room > room ? 2 * room : size;
    void* larger = oxcMemRealloc(data.get(), room, "sock_data_000");
    if (larger == nullptr) return OX_ENOMEM;
    (void)data.release();
    data.reset(static_cast<unsigned char*>(larger));
  }
}

}  // namespace ox
