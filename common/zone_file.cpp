// Compiled zone files, RFC 8536: a block of data with 32-bit times, which is passed over, one with 64-bit times, and a
// POSIX text for the time behind them.
#include <array>
#include <cstring>

#include "common/bytes.h"
#include "common/time_zone.h"

namespace ox {
namespace {

struct Counts {
  std::uint32_t utc_flags, standard_flags, leaps, times, types, characters;
};

// "TZif", a version, 15 reserved bytes, six counts.
bool take_header(Reader& file, Counts& counts) noexcept {
  const unsigned char* mark = nullptr;
  if (!file.take_bytes(20, mark) || std::memcmp(mark, "TZif", 4) != 0 || mark[4] < '2') return false;
  return file.take(counts.utc_flags) && file.take(counts.standard_flags) && file.take(counts.leaps) &&
         file.take(counts.times) && file.take(counts.types) && file.take(counts.characters);
}

constexpr std::size_t type_size = 6;  // offset, whether summer time, place of the abbreviation

std::uint64_t size_behind_types(const Counts& counts, unsigned time_size) noexcept {
  return counts.characters + std::uint64_t{counts.leaps} * (time_size + 4) + counts.standard_flags + counts.utc_flags;
}

bool pass(Reader& file, std::uint64_t size) noexcept {
  const unsigned char* bytes = nullptr;
  return size <= file.remaining() && file.take_bytes(static_cast<std::size_t>(size), bytes);
}

bool take_offset(const unsigned char* types, const Counts& counts, unsigned type, std::int32_t& offset) noexcept {
  constexpr std::uint32_t longest = 86'400 * 2;
  if (type >= counts.types) return false;
  std::uint32_t value = 0;
  if (!Reader(types + type * type_size, sizeof value).take(value)) return false;
  offset = static_cast<std::int32_t>(value);
  return value + longest <= 2 * longest;
}

bool take_changes(Reader& file, const Counts& counts, ZoneRules& rules) {
  const unsigned char* times = nullptr;
  const unsigned char* kinds = nullptr;
  const unsigned char* types = nullptr;
  if (counts.times > file.remaining() / 9 || counts.types > 256 || counts.leaps != 0) return false;
  if (!file.take_bytes(counts.times * std::size_t{8}, times) || !file.take_bytes(counts.times, kinds) ||
      !file.take_bytes(counts.types * type_size, types) || !take_offset(types, counts, 0, rules.offset)) {
    return false;
  }
  Reader moments(times, counts.times * std::size_t{8});
  for (std::uint32_t i = 0; i < counts.times; ++i) {
    std::uint64_t at = 0;
    ZoneChange change{};
    if (!moments.take(at) || !take_offset(types, counts, kinds[i], change.offset)) return false;
    change.at = static_cast<std::int64_t>(at);
    if (i != 0 && change.at <= rules.changes.back().at) return false;
    rules.changes.push_back(change);
  }
  return pass(file, size_behind_types(counts, 8));
}

// The rules behind the last change that the file gives itself; a file may have none.
bool add_footer(std::string_view footer, ZoneRules& rules) {
  if (footer.size() < 2 || footer.front() != '\n' || footer.back() != '\n') return false;
  footer = footer.substr(1, footer.size() - 2);
  ZoneRules later;
  if (footer.empty()) return true;
  if (!read_posix_zone(footer, later)) return false;
  if (rules.changes.empty()) {
    rules = std::move(later);
    return true;
  }
  const std::int64_t last = rules.changes.back().at;
  for (const ZoneChange& change : later.changes) {
    if (change.at > last) rules.changes.push_back(change);
  }
  return true;
}

}  // namespace

bool read_zone_file(std::string_view bytes, ZoneRules& rules) {
  rules = {};
  Reader file(bytes.data(), bytes.size());
  Counts counts{};
  if (!take_header(file, counts)) return false;
  const std::uint64_t old_block = std::uint64_t{counts.times} * 5 + std::uint64_t{counts.types} * type_size;
  if (!pass(file, old_block + size_behind_types(counts, 4)) || !take_header(file, counts)) return false;
  if (!take_changes(file, counts, rules)) return false;
  const unsigned char* footer = nullptr;
  const std::size_t size = file.remaining();
  if (!file.take_bytes(size, footer)) return false;
  return add_footer(bytes.substr(bytes.size() - size), rules);
}

}  // namespace ox
