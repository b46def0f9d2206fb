// Messages between clients and the manager, and their two wire forms. All integers are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "manager/base/payload.h"

namespace ox::manager {

struct Message {
  std::uint32_t type = 0;
  std::uint32_t command = 0;
  std::uint32_t error = 0;
  std::uint32_t source_id = 0;
  std::uint32_t destination_id = 0;
  std::string destination{};  // the manager addressed; empty for the local one
  std::uint32_t reference = 0;
  std::uint32_t refusal =
      0;  // why its data have been passed over: 266 too long, 3 no memory for them, 85 too much already
  Bytes data{};
};

// Takes a client's byte stream apart: the greeting first, then messages in the client's form. Nothing is believed:
// data take memory as they arrive, and those over the limit take none.
class FrameReader {
 public:
  enum class Result { incomplete, complete, broken };

  explicit FrameReader(std::size_t max_data) : max_data_(max_data) {}

  void append(std::span<const std::byte> bytes);
  // The notification event's name.
  [[nodiscard]] Result next_greeting(std::string& event_name);
  [[nodiscard]] Result next(Message& message);
  // A greeting or a message has begun and its end is missing.
  [[nodiscard]] bool in_message() const { return in_data_ || !rest().empty(); }
  // Bytes of what is not complete.
  [[nodiscard]] std::size_t held() const { return buffer_.size() + begun_.data.capacity(); }
  // The data that are coming are not kept: the message will be there without them.
  void pass_over(std::uint32_t refusal) noexcept;
  // Why the stream is broken; a literal.
  [[nodiscard]] const char* fault() const { return fault_; }

 private:
  [[nodiscard]] std::span<const std::byte> rest() const { return std::span(buffer_).subspan(taken_); }
  void take(std::size_t count);
  Result broken(const char* fault);
  [[nodiscard]] Result read_header();
  [[nodiscard]] Result read_data();
  void keep(std::span<const std::byte> data) noexcept;

  std::size_t max_data_;
  Bytes buffer_;
  std::size_t taken_ = 0;
  Message begun_;              // whose data are coming
  std::size_t data_left_ = 0;  // bytes of them
  bool in_data_ = false;
  const char* fault_ = "";
};

// The answer to a greeting: that the session is open, with the longest data part that it takes, or why it is refused.
[[nodiscard]] Bytes greeting_answer(std::size_t max_data);
[[nodiscard]] Bytes greeting_refusal(std::uint32_t result);
// A message in the manager's form, up to the data that it holds itself; `rest` bytes of them follow.
[[nodiscard]] Bytes encode_reply(const Message& message, std::uint64_t rest = 0);

}  // namespace ox::manager
