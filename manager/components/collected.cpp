#include "manager/components/collected.h"

#include <cstdio>
#include <memory>

#include "manager/base/paths.h"
#include "manager/base/payload.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr std::size_t record_head = 12;  // first, second, length
constexpr std::size_t longest_stem = 100;

bool is_safe(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '_';
}

// A text as part of a file name: other characters as "%xx". A long one is cut; its hash keeps it apart from others.
std::string escaped(const std::string& text) {
  std::string out;
  std::uint64_t hash = 14695981039346656037u;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    hash = (hash ^ byte) * 1099511628211u;
    if (is_safe(c)) {
      out += c;
    } else {
      char code[4];
      std::snprintf(code, sizeof code, "%%%02x", byte);
      out += code;
    }
  }
  if (out.size() <= longest_stem) return out;
  char tail[20];
  std::snprintf(tail, sizeof tail, "~%016llx", static_cast<unsigned long long>(hash));
  return out.substr(0, longest_stem) + tail;
}

bool write_and_sync(const std::string& path, const char* mode, const void* bytes, std::size_t size) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), mode), std::fclose);
  return file && std::fwrite(bytes, 1, size, file.get()) == size && std::fflush(file.get()) == 0 &&
         platform::sync_file(file.get()) == platform::error_none;
}

}  // namespace

Collected::Collected(const std::string& directory, std::uint32_t max_size)
    : directory_(join(directory, "collected")), max_size_(max_size) {}

std::string Collected::path(const Key& key) const {
  return join(directory_, escaped(key.text1) + '.' + escaped(key.text2) + ".dat");
}

// A record that a killed manager left unfinished was not acknowledged, and is cut off.
bool Collected::repair(const std::string& file) {
  if (sound_.contains(file)) return true;
  std::string text;
  if (!read_file(file, text)) return false;
  std::size_t at = 0;
  while (text.size() - at >= record_head) {
    PayloadReader head(std::as_bytes(std::span(text)).subspan(at, record_head));
    (void)head.u32();
    (void)head.u32();
    const std::size_t length = head.u32();
    if (length > text.size() - at - record_head) break;
    at += record_head + length;
  }
  if (at != text.size()) {
    const std::string temporary = file + ".tmp";
    if (!write_and_sync(temporary, "wb", text.data(), at) ||
        platform::replace_file(temporary.c_str(), file.c_str()) != platform::error_none) {
      return false;
    }
  }
  sound_.insert(file);
  return true;
}

OX_RESULT Collected::append(const Key& key, std::uint32_t first, std::uint32_t second,
                            std::span<const std::byte> values) {
  const std::string file = path(key);
  if (!ensure_directory(directory_) || !repair(file)) return OX_EWRITE;
  std::uint32_t present = 0;
  (void)size(key, present);
  if (values.size() + record_head > max_size_ || present > max_size_ - record_head - values.size()) {
    return OX_EENCODEDLONG;
  }
  PayloadWriter record;
  record.u32(first);
  record.u32(second);
  record.u32(static_cast<std::uint32_t>(values.size()));
  record.bytes(values);
  if (write_and_sync(file, "ab", record.out().data(), record.out().size())) return OX_OK;
  sound_.erase(file);
  return OX_EWRITE;
}

OX_RESULT Collected::size(const Key& key, std::uint32_t& bytes) const {
  platform::FileAttributes attributes;
  if (platform::file_attributes(path(key).c_str(), attributes) != platform::error_none) return OX_ENOTFOUND;
  bytes = static_cast<std::uint32_t>(attributes.size);
  return OX_OK;
}

}  // namespace ox::manager
