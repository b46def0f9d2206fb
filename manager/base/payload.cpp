#include "manager/base/payload.h"

#include <algorithm>

#include <oxbase/oxtypes.h>

namespace ox::manager {

std::uint32_t PayloadReader::number(std::size_t width) {
  std::uint32_t value = 0;
  for (const std::byte byte : bytes(width)) value = value << 8 | std::to_integer<std::uint32_t>(byte);
  return value;
}

std::span<const std::byte> PayloadReader::bytes(std::size_t count) {
  if (error_ != 0 || count > rest_.size()) {
    if (error_ == 0) error_ = OX_ETRUNCATED;
    return {};
  }
  const auto taken = rest_.first(count);
  rest_ = rest_.subspan(count);
  return taken;
}

std::string PayloadReader::text() {
  const auto taken = bytes(u16());
  if (taken.empty()) return {};
  const auto end = std::find(taken.begin(), taken.end(), std::byte{0});
  if (end == taken.end()) {
    error_ = OX_EFORMAT;
    return {};
  }
  return {reinterpret_cast<const char*>(taken.data()), static_cast<std::size_t>(end - taken.begin())};
}

void PayloadWriter::number(std::uint32_t value, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) out_.push_back(static_cast<std::byte>(value >> shift));
}

void PayloadWriter::text(std::string_view text) {
  u16(text.empty() ? 0 : static_cast<std::uint32_t>(text.size() + 1));
  if (text.empty()) return;
  bytes(std::as_bytes(std::span(text)));
  out_.push_back(std::byte{0});
}

}  // namespace ox::manager
