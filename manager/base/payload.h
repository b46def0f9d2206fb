// Cursors over the payloads of messages. All integers are big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ox::manager {

using Bytes = std::vector<std::byte>;

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
