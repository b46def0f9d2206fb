// What the targets of the event codecs share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxe.h>

inline void require(bool holds) {
  if (!holds) std::abort();
}

struct Block {
  void* bytes = nullptr;
  uint32_t size = 0;
  Block() = default;
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  ~Block() { (void)oxcMemFree(bytes); }
  bool operator==(const Block& other) const {
    return size == other.size && (size == 0 || std::memcmp(bytes, other.bytes, size) == 0);
  }
};

// Runs `decode`(bytes, length) on a block of the exact size; no tracked block is left.
template <class Decode>
int run_decoder(const uint8_t* data, size_t size, Decode decode) {
  const std::vector<uint8_t> exact(data, data + size);
  const uint8_t nothing = 0;
  const uint32_t blocks = oxcGetMemValue(1);
  decode(exact.empty() ? &nothing : exact.data(), static_cast<uint32_t>(size));
  require(oxcGetMemValue(1) == blocks);
  return 0;
}
