// The formats are those of the database library's documentation: of the log, "-wal", a header of 32 bytes and frames of
// 24 bytes and a page, numbers big-endian; of the index, "-shm", the header of 48 bytes twice, in the machine's order.
// A checksum goes on from that of the frame before.
#include "manager/storage/write_ahead.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace ox::manager {
namespace {

constexpr std::uint32_t magic = 0x377F0682;  // the lowest bit: words of checksums are big-endian
constexpr std::size_t frame_head = 24;
constexpr std::size_t longest_page = 65536;
constexpr std::size_t read_at_once = 1u << 18;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
using Bytes = std::span<const unsigned char>;
using Pair = std::array<std::uint32_t, 2>;

File open_to_read(const std::string& path) { return {std::fopen(path.c_str(), "rb"), std::fclose}; }

std::uint32_t big(Bytes bytes, std::size_t at) {
  return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 | std::uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}
std::uint32_t little(Bytes bytes, std::size_t at) {
  return std::uint32_t{bytes[at + 3]} << 24 | std::uint32_t{bytes[at + 2]} << 16 | std::uint32_t{bytes[at + 1]} << 8 |
         bytes[at];
}
Pair two(Bytes bytes, std::size_t at) { return {big(bytes, at), big(bytes, at + 4)}; }

// Of tens of megabytes at the start: the order of its words is settled outside the loop.
template <std::uint32_t (*word)(Bytes, std::size_t)>
Pair checksum(Bytes bytes, Pair sum) {
  for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
    sum[0] += word(bytes, at) + sum[1];
    sum[1] += word(bytes, at + 4) + sum[0];
  }
  return sum;
}
using Checksum = Pair (*)(Bytes, Pair);

struct Index {
  std::uint32_t frames = 0;  // committed
  Pair salt{};               // of the log that it is of
};

std::optional<Index> index_of(Bytes header) {
  std::array<std::uint32_t, 12> words{};
  std::memcpy(words.data(), header.data(), 48);
  Pair sum{};
  for (std::size_t i = 0; i < 10; i += 2) {
    sum[0] += words[i] + sum[1];
    sum[1] += words[i + 1] + sum[0];
  }
  if (words[0] == 0 || sum != Pair{words[10], words[11]}) return {};
  return Index{words[4], two(header, 32)};
}

// The first copy is written last.
std::optional<Index> read_index(const std::string& path) {
  std::array<unsigned char, 96> copies{};
  const File file = open_to_read(path);
  if (!file || std::fread(copies.data(), 1, copies.size(), file.get()) != copies.size()) return {};
  const auto first = index_of(Bytes(copies).first(48));
  return first ? first : index_of(Bytes(copies).last(48));
}

class Frames {
 public:
  explicit Frames(const std::string& path) : file_(open_to_read(path)) {
    std::array<unsigned char, 32> header{};
    if (file_) (void)std::setvbuf(file_.get(), buffer_.data(), _IOFBF, buffer_.size());
    if (!file_ || std::fread(header.data(), 1, header.size(), file_.get()) != header.size()) return;
    checksum_ = (header[3] & 1) != 0 ? &checksum<big> : &checksum<little>;
    const std::uint32_t page = big(header, 8);
    sum_ = checksum_(Bytes(header).first(24), {});
    sound_ = (big(header, 0) & ~1u) == magic && page <= longest_page && sum_ == two(header, 24);
    salt_ = two(header, 16);
    frame_.resize(frame_head + (sound_ ? page : 0));
  }
  [[nodiscard]] bool is_sound() const { return sound_; }
  [[nodiscard]] const Pair& salt() const { return salt_; }
  [[nodiscard]] bool is_there() const { return file_ != nullptr && std::ftell(file_.get()) > 0; }

  struct Frame {
    bool reads = false;
    bool commits = false;
  };
  // The next one; nothing at the end.
  std::optional<Frame> next() {
    if (std::fread(frame_.data(), 1, frame_.size(), file_.get()) != frame_.size()) return {};
    const Bytes frame(frame_);
    const Pair made = checksum_(frame.subspan(frame_head), checksum_(frame.first(8), sum_));
    sum_ = two(frame, 16);
    return Frame{two(frame, 8) == salt_ && made == sum_, big(frame, 4) != 0};
  }

 private:
  std::vector<char> buffer_ = std::vector<char>(read_at_once);  // until the file is closed
  File file_;
  Checksum checksum_ = &checksum<big>;
  bool sound_ = false;
  Pair salt_{};
  Pair sum_{};
  std::vector<unsigned char> frame_;
};

bool has_frames(Frames& log, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto frame = log.next();
    if (!frame || !frame->reads) return false;
  }
  return true;
}

bool ends_at_once(Frames& log) {
  bool broken = false;
  while (const auto frame = log.next()) {
    if (broken && frame->reads && frame->commits) return false;
    broken = broken || !frame->reads;
  }
  return true;
}

}  // namespace

bool log_is_whole(const std::string& database) {
  const auto index = read_index(database + "-shm");
  if (index && index->frames == 0) return true;
  Frames log(database + "-wal");
  if (!log.is_sound()) return !index && !log.is_there();
  // After a loss of power the index may be of an earlier log.
  return index && index->salt == log.salt() ? has_frames(log, index->frames) : ends_at_once(log);
}

}  // namespace ox::manager
