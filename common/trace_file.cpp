#include "common/trace_file.h"

#include <utility>

#include <oxbase/oxc.h>

#include "common/installed_page.h"
#include "common/paths.h"
#include "common/settings.h"
#include "platform/environment.h"
#include "platform/file.h"
#include "platform/own_file.h"

namespace ox::trace {
namespace {

constexpr std::uint32_t default_megabytes = 5;
constexpr std::uint32_t most_megabytes = 100;
constexpr std::uint32_t default_count = 10;
constexpr std::uint32_t fewest_files = 3;
constexpr std::uint32_t most_files = 100;

std::string default_stem() {
  char stem[16];
  (void)std::snprintf(stem, sizeof stem, "ox%x", platform::process_id());
  return stem;
}

// The administrator's directory for trace files, empty when there is none that exists.
std::string moved_directory() {
  std::string directory = settings::text("oxLogDirectory", max_path);
  if (directory.size() <= 1) return {};
  drop_last_separator(directory);
  platform::FileAttributes attributes;
  const bool exists =
      platform::file_attributes(directory.c_str(), attributes) == platform::error_none && attributes.directory;
  return exists ? directory : std::string();
}

}  // namespace

std::string NamePattern::name(std::uint32_t index) const {
  char digits[16];
  (void)std::snprintf(digits, sizeof digits, "%02u", index);
  return before + digits + after;
}

NamePattern name_pattern(std::string_view name) {
  if (name.empty()) return {work_path({"tmp", default_stem() + "_"}), ".dbg"};

  std::string path(name);
  use_platform_separator(path);
  const std::string base(file_name(path));
  const bool has_directory = base.size() != path.size();
  std::string directory = has_directory ? path.substr(0, path.size() - base.size() - 1) : std::string();

  const std::size_t dot = base.find_last_of('.');
  const std::string stem = base.substr(0, dot);
  const std::string extension = dot == std::string::npos ? std::string() : base.substr(dot);

  if (has_directory && path_page().compare_no_case(directory, work_path({"tmp"})) == 0) {
    const std::string moved = moved_directory();
    // Room for "\ox<8 digits>_%02d.dbg" or for the name with "_%02d"; else the name's own directory stays.
    const std::size_t room = base.empty() ? 17 : base.size() + 4 + extension.size();
    if (!moved.empty() && moved.size() + room < max_path) directory = moved;
  }
  if (has_directory) directory += platform::path_separator;
  if (base.empty()) return {directory + default_stem() + "_", ".dbg"};
  return {directory + stem + "_", extension};
}

NamePattern default_pattern() { return name_pattern(work_path({"tmp", default_stem() + ".dbg"})); }

void TraceFile::read_rotation_settings() {
  const std::uint32_t megabytes = settings::number("oxLogMaxFileSize", default_megabytes);
  max_size_ = static_cast<std::int64_t>(megabytes <= most_megabytes ? megabytes : default_megabytes) << 20;
  const std::uint32_t count = settings::number("oxLogMaxFileCount", default_count);
  max_count_ = count >= fewest_files && count <= most_files ? count : default_count;
}

OX_RESULT TraceFile::open() {
  file_ = platform::open_own_file(current_.c_str());
  if (file_ == nullptr) return OX_EOPEN;
  (void)std::setvbuf(file_, nullptr, _IONBF, 0);  // a line is one write, and needs no flush
  written_ = 0;
  return OX_OK;
}

OX_RESULT TraceFile::start() {
  close();
  index_ = 0;
  current_ = pattern_.name(0);
  return open();
}

OX_RESULT TraceFile::reopen() { return current_.empty() ? OX_RESULT{OX_EOPEN} : open(); }

void TraceFile::close() noexcept {
  if (file_ != nullptr) (void)std::fclose(std::exchange(file_, nullptr));
}

OX_RESULT TraceFile::rotate() {
  if (max_size_ == unread) read_rotation_settings();
  if (max_size_ == 0 || written_ <= max_size_) return OX_OK;
  if (++index_ >= max_count_) index_ = 1;
  close();
  current_ = pattern_.name(index_);
  return open();
}

void TraceFile::write(std::string_view text) noexcept {
  const bool first = written_ == 0;
  const auto count = static_cast<std::int64_t>(platform::write_own_file(file_, text));
  written_ += count;
  // Asking costs as much as writing: where the first line has taken its own size, all others will.
  if (!first && !translated_) return;
  if (const long position = std::ftell(file_); position >= 0) {
    translated_ = position != written_;
    written_ = position;
  }
}

}  // namespace ox::trace
