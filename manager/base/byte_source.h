// Bytes that are made while somebody takes them.
#pragma once

#include <cstdint>
#include <string>

#include "manager/base/payload.h"

namespace ox::manager {

class ByteSource {
 public:
  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  [[nodiscard]] virtual std::uint64_t left() const = 0;
  // The next of them; none when they take longer: they are asked for again when the event loop has come round. False
  // when there will be no more, whatever is left.
  [[nodiscard]] virtual bool take(Bytes& piece) = 0;
  // Why there will be no more.
  [[nodiscard]] virtual std::string fault() const = 0;
};

}  // namespace ox::manager
