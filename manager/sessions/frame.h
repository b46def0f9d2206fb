// Messages between clients and the manager, and their two wire forms. All integers are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ox::manager {

using Bytes = std::vector<std::byte>;

struct Message {
  std::uint32_t type = 0;
  std::uint32_t command = 0;
  std::uint32_t error = 0;
  std::uint32_t source_id = 0;
  std::uint32_t destination_id = 0;
  std::string destination{};  // the manager addressed; empty for the local one
  std::uint32_t reference = 0;
  Bytes data{};
};

// Takes a client's byte stream apart: the greeting first, then messages in the client's form. Nothing is believed:
// every length is bounded before anything is allocated for it.
class FrameReader {
 public:
  enum class Result { incomplete, complete, broken };

  explicit FrameReader(std::size_t max_data) : max_data_(max_data) {}

  void append(std::span<const std::byte> bytes);
  // The notification event's name.
  [[nodiscard]] Result next_greeting(std::string& event_name);
  [[nodiscard]] Result next(Message& message);
  // A greeting or a message has begun and its end is missing.
  [[nodiscard]] bool in_message() const { return !rest().empty(); }
  // Why the stream is broken; a literal.
  [[nodiscard]] const char* fault() const { return fault_; }

 private:
  [[nodiscard]] std::span<const std::byte> rest() const { return std::span(buffer_).subspan(taken_); }
  void take(std::size_t count);
  Result broken(const char* fault);

  std::size_t max_data_;
  Bytes buffer_;
  std::size_t taken_ = 0;
  const char* fault_ = "";
};

// The answer to a greeting.
[[nodiscard]] Bytes greeting_answer(std::uint32_t result);
// A message in the manager's form.
[[nodiscard]] Bytes encode_reply(const Message& message);

// Bounds-checked cursor over a request's payload. A read past the end, or a text without its end, fails it for good.
class PayloadReader {
 public:
  PayloadReader() = default;
  explicit PayloadReader(std::span<const std::byte> bytes) : rest_(bytes) {}

  [[nodiscard]] std::uint32_t u16() { return number(2); }
  [[nodiscard]] std::uint32_t u32() { return number(4); }
  // A text with 2-byte length; empty when there is none.
  [[nodiscard]] std::string text();
  [[nodiscard]] std::span<const std::byte> bytes(std::size_t count);
  [[nodiscard]] std::size_t left() const { return rest_.size(); }

  // 0, 71 when the payload ended too early, 70 when a text had no terminator.
  [[nodiscard]] std::uint32_t error() const { return error_; }

 private:
  std::uint32_t number(std::size_t width);

  std::span<const std::byte> rest_;
  std::uint32_t error_ = 0;
};

class PayloadWriter {
 public:
  void u16(std::uint32_t value) { number(value, 2); }
  void u32(std::uint32_t value) { number(value, 4); }
  void text(std::string_view text);  // with its terminator; no bytes when empty
  void bytes(std::span<const std::byte> bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }
  [[nodiscard]] Bytes& out() { return out_; }

 private:
  void number(std::uint32_t value, int width);
  Bytes out_;
};

}  // namespace ox::manager
