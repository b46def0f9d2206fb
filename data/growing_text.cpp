#include "data/growing_text.h"

#include <algorithm>
#include <cstring>

namespace ox::data {

bool GrowingText::reserve(std::size_t count) noexcept {
  if (failed_) return false;
  if (count < capacity_ - size_) return true;
  // At least doubled, so that many short pieces cost no more than their own length.
  const std::size_t needed = size_ + count + 1;
  const std::size_t wanted = (std::max(needed, 2 * capacity_) + step - 1) / step * step;
  void* larger = wanted > UINT32_MAX || wanted < count ? nullptr
                                                       : oxcMemRealloc(block_.get(), static_cast<std::uint32_t>(wanted),
                                                                       block_ ? growth_tag_ : first_tag_);
  if (larger == nullptr) {
    failed_ = true;
    return false;
  }
  (void)block_.release();
  block_.reset(static_cast<char*>(larger));
  capacity_ = wanted;
  return true;
}

void GrowingText::append(std::string_view text) noexcept {
  if (!reserve(text.size())) return;
  std::memcpy(block_.get() + size_, text.data(), text.size());
  size_ += text.size();
}

void GrowingText::append(std::size_t count, char character) noexcept {
  if (!reserve(count)) return;
  std::memset(block_.get() + size_, character, count);
  size_ += count;
}

const char* GrowingText::text() noexcept {
  if (!reserve(0)) return nullptr;
  block_[size_] = '\0';
  return block_.get();
}

}  // namespace ox::data
