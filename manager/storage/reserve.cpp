#include "manager/storage/reserve.h"

#include <charconv>
#include <cstdio>
#include <memory>
#include <span>

#include "manager/base/checksum.h"
#include "manager/base/paths.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr std::uint64_t ahead = 1u << 16;

// "65536 1a2b3c4d": the bound and the checksum of its digits.
std::string line_of(std::uint64_t bound) {
  const std::string digits = std::to_string(bound);
  char sum[16];
  (void)std::snprintf(sum, sizeof sum, " %08x\n", crc32(std::as_bytes(std::span(digits))));
  return digits + sum;
}

bool write(const std::string& file, const std::string& text) {
  (void)platform::remove_file(file.c_str());
  if (platform::make_private_file(file.c_str()) != platform::error_none) return false;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "r+b"), std::fclose);
  return stream && std::fwrite(text.data(), 1, text.size(), stream.get()) == text.size() &&
         platform::sync_file(stream.get()) == platform::error_none;
}

}  // namespace

std::optional<std::uint64_t> Reserve::load() {
  std::string text;
  if (!read_file(file_, text)) return {};
  bound_ = 0;
  if (text.empty()) return 0;
  std::uint64_t bound = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bound);
  if (error != std::errc{} || line_of(bound) != text) return {};
  return bound_ = bound;
}

bool Reserve::cover(std::uint64_t last) {
  if (last <= bound_) return true;
  const std::string fresh = file_ + ".new";
  if (!write(fresh, line_of(last + ahead)) ||
      platform::replace_file(fresh.c_str(), file_.c_str()) != platform::error_none) {
    return false;
  }
  bound_ = last + ahead;
  return true;
}

}  // namespace ox::manager
