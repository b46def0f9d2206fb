// The rotating trace file of the process. The caller holds the trace's lock.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include <oxbase/oxtypes.h>

namespace ox::trace {

// A file name with a place for the two digits of the rotation index. Its pieces are kept apart: a "%" in a user's
// directory or file name has no meaning.
struct NamePattern {
  std::string before;
  std::string after;

  [[nodiscard]] std::string name(std::uint32_t index) const;
};

// The pattern of a file name; of an empty one, the default name in the work directory's "tmp". A directory that is the
// default one gives way to the registry's "oxLogDirectory".
[[nodiscard]] NamePattern name_pattern(std::string_view name);

// That of the default name, which oxcDebugOutput without a name goes back to: it moves like a given one.
[[nodiscard]] NamePattern default_pattern();

class TraceFile {
 public:
  ~TraceFile() { close(); }

  void set_pattern(NamePattern pattern) { pattern_ = std::move(pattern); }
  [[nodiscard]] bool has_pattern() const noexcept { return !pattern_.before.empty(); }
  void read_rotation_settings();

  [[nodiscard]] bool is_open() const noexcept { return file_ != nullptr; }
  OX_RESULT start();   // index 00, truncated
  OX_RESULT reopen();  // the current name, truncated
  void close() noexcept;

  // Goes on to the next file when the current one is over its size; index 00 is written only once per start.
  OX_RESULT rotate();
  void write(std::string_view text) noexcept;

 private:
  OX_RESULT open();

  NamePattern pattern_;
  std::string current_;
  std::FILE* file_ = nullptr;
  std::uint32_t index_ = 0;
  std::int64_t written_ = 0;
  std::int64_t max_size_ = unread;  // bytes; 0: no rotation
  std::uint32_t max_count_ = 0;

  bool translated_ = false;  // the system writes more bytes than it is given, for the ends of lines

  static constexpr std::int64_t unread = -1;
};

}  // namespace ox::trace
