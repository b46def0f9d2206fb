// Space for the time of one call: on the stack while it fits, else a tracked block.
#pragma once

#include <cstdint>

#include "common/memory.h"

namespace ox::snmp {

template <std::size_t Fixed>
class Scratch {
 public:
  explicit Scratch(std::uint64_t size) noexcept {
    if (size <= Fixed) {
      space_ = fixed_;
    } else if (size <= UINT32_MAX) {
      block_ = make_tracked_array<unsigned char>(static_cast<std::uint32_t>(size), "snmp_scratch");
      space_ = block_.get();
    }
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  [[nodiscard]] explicit operator bool() const noexcept { return space_ != nullptr; }
  [[nodiscard]] unsigned char* bytes() noexcept { return space_; }
  [[nodiscard]] char* chars() noexcept { return reinterpret_cast<char*>(space_); }

 private:
  unsigned char fixed_[Fixed];
  tracked_ptr<unsigned char[]> block_;
  unsigned char* space_ = nullptr;
};

}  // namespace ox::snmp
