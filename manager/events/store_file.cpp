// The event log in plain files that only grow: "events.N.log". Their format: docs/files.md.
//
// A commit is one batch, written by one call: after the death of the manager it is there as a whole, or its rest is not
// read. When the newest file is full a new one begins, with all that is known beside the events. The oldest file goes
// when no event in it is left, or when its last ones have been copied because the files hold too much that is dead.
#include <algorithm>
#include <cstdio>
#include <deque>
#include <memory>
#include <new>
#include <utility>

#include <oxbase/oxtypes.h>

#include "manager/base/checksum.h"
#include "manager/base/log.h"
#include "manager/base/paths.h"
#include "manager/events/store.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr std::string_view magic = "OXEVLOG1";
constexpr std::size_t batch_head = 8;      // length and checksum
constexpr std::size_t spare_size = 65536;  // holds the index of more events than a batch has as a rule
enum Kind : std::uint32_t { kind_event = 1, kind_erase, kind_erase_up_to, kind_wait, kind_no_wait, kind_head };

struct CloseFile {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

void put_long(PayloadWriter& out, std::uint64_t value) {
  out.u32(static_cast<std::uint32_t>(value >> 32));
  out.u32(static_cast<std::uint32_t>(value));
}
std::uint64_t take_long(PayloadReader& in) {
  const std::uint64_t high = in.u32();
  return high << 32 | in.u32();
}

class FileEventStore final : public EventStore {
 public:
  FileEventStore(const std::string& directory, std::size_t segment_size)
      : directory_(directory), segment_size_(segment_size) {}

  bool open(const FaultSink& faults) override {
    std::vector<platform::DirectoryEntry> files;
    if (platform::list_directory(directory_.c_str(), files) != platform::error_none) {
      faults(directory_, 0, "cannot be read");
      return false;
    }
    for (const auto& file : files) {
      std::uint32_t number = 0;
      int end = 0;
      if (std::sscanf(file.name.c_str(), "events.%u.log%n", &number, &end) == 1 &&
          static_cast<std::size_t>(end) == file.name.size()) {
        segments_[number] = {};
      }
    }
    for (auto& [number, segment] : segments_) {
      if (!read_segment(number, segment, faults)) return false;
    }
    return true;
  }

  void put(const StoredEvent& event) override {
    record(kind_event, [&](PayloadWriter& out) {
      put_long(out, event.sequence);
      out.u32(event.arrived);
      out.u16(event.listed ? 1 : 0);
      out.u32(static_cast<std::uint32_t>(event.body.size()));
      out.bytes(event.body);
    });
  }
  void erase(Sequence sequence) override {
    record(kind_erase, [&](PayloadWriter& out) { put_long(out, sequence); });
  }
  void erase_up_to(Sequence sequence) override {
    record(kind_erase_up_to, [&](PayloadWriter& out) { put_long(out, sequence); });
  }
  void erase_unlisted_up_to(Sequence sequence) override {
    for (const Entry& entry : index_) {
      if (entry.sequence > sequence) break;
      if (entry.live && !entry.listed) erase(entry.sequence);
    }
  }
  void put_wait(const std::string& name, const WaitMark& mark) override {
    record(kind_wait, [&](PayloadWriter& out) {
      put_long(out, mark.taken);
      out.u32(mark.seen);
      out.text(name);
    });
  }
  void erase_wait(const std::string& name) override {
    record(kind_no_wait, [&](PayloadWriter& out) { out.text(name); });
  }

  bool commit() override {
    if (pending_.out().empty()) return true;
    PayloadWriter batch = std::exchange(pending_, {});
    try {
      if (!write(batch.out())) {
        log(Severity::error, directory_ + ": the event log cannot be written");
        return false;
      }
    } catch (const std::bad_alloc&) {
      end_segment();
      log(Severity::error, "out of memory: the event log is not written");
      return false;
    }
    try {
      clean();
    } catch (const std::bad_alloc&) {  // the next commit goes on with it
    }
    return true;
  }

  std::vector<StoredEvent> after(Sequence sequence, std::size_t count, std::size_t bytes) override {
    std::vector<StoredEvent> found;
    std::size_t size = 0;
    for (auto entry = find(sequence + 1); entry != index_.end(); ++entry) {
      if (!add(*entry, found, size) || found.size() >= count || size > bytes) break;
    }
    return found;
  }
  std::vector<StoredEvent> before(Sequence sequence, std::size_t count, std::size_t bytes) override {
    std::vector<StoredEvent> found;
    std::size_t size = 0;
    for (auto entry = find(sequence); entry != index_.begin();) {
      if (!add(*--entry, found, size) || found.size() >= count || size > bytes) break;
    }
    return found;
  }
  std::optional<StoredEvent> get(Sequence sequence) override {
    const auto entry = find(sequence);
    StoredEvent event;
    if (entry == index_.end() || entry->sequence != sequence || !entry->live || !read(*entry, event)) return {};
    return event;
  }
  std::map<std::string, WaitMark> waits() override { return waits_; }

  Sequence excess(std::uint64_t bytes, std::uint32_t arrived_before) override {
    Sequence end = 0;
    std::uint64_t left = bytes_;
    for (const Entry& entry : index_) {
      if (!entry.live) continue;
      if (left <= bytes && entry.arrived >= arrived_before) break;
      end = entry.sequence;
      left -= entry.length;
    }
    return end;
  }

 private:
  // Where an event's body lies. In order of sequence; erased ones stay until they are the first.
  struct Entry {
    Sequence sequence = 0;
    std::uint32_t segment = 0;
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
    std::uint32_t arrived = 0;
    bool listed = true;
    bool live = true;
  };
  struct Segment {
    std::size_t size = 0;
    std::size_t live = 0;  // events in it
    bool full = false;     // nothing is appended any more
  };

  [[nodiscard]] std::string path(std::uint32_t segment) const {
    return join(directory_, "events." + std::to_string(segment) + ".log");
  }
  [[nodiscard]] std::deque<Entry>::iterator find(Sequence sequence) {
    return std::lower_bound(index_.begin(), index_.end(), sequence,
                            [](const Entry& entry, Sequence wanted) { return entry.sequence < wanted; });
  }
  // A record as a whole, or nothing of it when memory runs out: half a one would damage the batch.
  template <class Fields>
  void record(Kind kind, const Fields& fields) {
    const std::size_t size = pending_.out().size();
    try {
      pending_.u16(kind);
      fields(pending_);
    } catch (const std::bad_alloc&) {
      pending_.out().resize(size);
      throw;
    }
  }

  bool read_segment(std::uint32_t number, Segment& segment, const FaultSink& faults) {
    std::string text;
    if (!read_file(path(number), text)) {
      faults(path(number), 0, "cannot be read");
      return false;
    }
    const auto bytes = std::as_bytes(std::span(text));
    const bool last = number == segments_.rbegin()->first;
    std::size_t at = magic.size();
    if (!text.starts_with(magic) && !(last && text.size() < magic.size())) {
      faults(path(number), 0, "is no event log");
      return false;
    }
    while (at < text.size()) {
      PayloadReader head(bytes.subspan(at));
      const std::size_t length = head.u32();
      const std::uint32_t checksum = head.u32();
      const auto batch = head.bytes(length);
      // A batch that was being written when the manager died was never answered for.
      if (head.error() != OX_OK || crc32(batch) != checksum) break;
      if (!apply(number, at + batch_head, batch)) {
        faults(path(number), 0, "holds a damaged batch");
        return false;
      }
      at += batch_head + length;
    }
    if (at < text.size()) faults(path(number), 0, "ends in a write that was cut short, which is dropped");
    segment.size = text.size();
    segment.full = at != text.size();
    return true;
  }

  // Takes the records of a batch into the index.
  bool apply(std::uint32_t segment, std::size_t offset, std::span<const std::byte> batch) {
    PayloadReader in(batch);
    while (in.left() != 0 && in.error() == OX_OK) {
      switch (in.u16()) {
        case kind_event:
          apply_event(segment, offset, batch.size(), in);
          break;
        case kind_erase:
          drop_event(take_long(in));
          break;
        case kind_erase_up_to:
          erased_ = take_long(in);
          for (auto entry = index_.begin(); entry != index_.end() && entry->sequence <= erased_; ++entry) drop(entry);
          break;
        case kind_wait: {
          const WaitMark mark{take_long(in), in.u32()};
          waits_[in.text()] = mark;
          break;
        }
        case kind_no_wait:
          waits_.erase(in.text());
          break;
        case kind_head:
          last_ = std::max(last_, take_long(in));
          erased_ = take_long(in);
          waits_.clear();
          break;
        default:
          return false;
      }
    }
    while (!index_.empty() && !index_.front().live) index_.pop_front();
    return in.error() == OX_OK;
  }

  void apply_event(std::uint32_t segment, std::size_t offset, std::size_t batch_size, PayloadReader& in) {
    Entry entry;
    entry.segment = segment;
    entry.sequence = take_long(in);
    entry.arrived = in.u32();
    entry.listed = in.u16() != 0;
    entry.length = in.u32();
    entry.offset = static_cast<std::uint32_t>(offset + batch_size - in.left());
    (void)in.bytes(entry.length);
    if (in.error() != OX_OK) return;
    const auto place = find(entry.sequence);
    if (place != index_.end() && place->sequence == entry.sequence) {
      drop(place);
      *place = entry;
    } else {
      index_.insert(place, entry);
    }
    bytes_ += entry.length;
    ++segments_[segment].live;
    last_ = std::max(last_, entry.sequence);
  }

  void drop(const std::deque<Entry>::iterator& entry) {
    if (!entry->live) return;
    entry->live = false;
    bytes_ -= entry->length;
    --segments_[entry->segment].live;
  }
  void drop_event(Sequence sequence) {
    const auto entry = find(sequence);
    if (entry != index_.end() && entry->sequence == sequence) drop(entry);
  }

  bool read(const Entry& entry, StoredEvent& event) {
    if (!reading_ || reading_segment_ != entry.segment) {
      reading_.reset(std::fopen(path(entry.segment).c_str(), "rb"));
      reading_segment_ = entry.segment;
      if (!reading_) return false;
      (void)std::setvbuf(reading_.get(), nullptr, _IONBF, 0);
    }
    event = {entry.sequence, entry.arrived, entry.listed, Bytes(entry.length)};
    return std::fseek(reading_.get(), static_cast<long>(entry.offset), SEEK_SET) == 0 &&
           std::fread(event.body.data(), 1, entry.length, reading_.get()) == entry.length;
  }
  bool add(const Entry& entry, std::vector<StoredEvent>& found, std::size_t& size) {
    StoredEvent event;
    if (!entry.live) return true;
    if (!read(entry, event)) return false;
    size += event.body.size();
    found.push_back(std::move(event));
    return true;
  }

  // Appends a batch to the newest file and takes it in.
  bool write(std::span<const std::byte> batch) {
    if (!writing_ && !begin_segment()) return false;
    auto& [number, segment] = *segments_.rbegin();
    const std::size_t at = segment.size + batch_head;
    if (!append(batch, segment)) return false;
    if (segment.size >= segment_size_) {
      writing_.reset();
      segment.full = true;
    }
    return take_in(number, at, batch);
  }

  // What is written already finds memory that was set aside for it. Records may be applied twice.
  bool take_in(std::uint32_t segment, std::size_t offset, std::span<const std::byte> batch) {
    try {
      return apply(segment, offset, batch);
    } catch (const std::bad_alloc&) {
      spare_.reset();
    }
    const bool good = apply(segment, offset, batch);
    spare_.reset(new (std::nothrow) std::byte[spare_size]);
    return good;
  }

  // Nothing is appended any more to the newest file.
  void end_segment() {
    writing_.reset();
    if (!segments_.empty()) segments_.rbegin()->second.full = true;
  }

  bool append(std::span<const std::byte> batch, Segment& segment) {
    PayloadWriter framed;
    framed.u32(static_cast<std::uint32_t>(batch.size()));
    framed.u32(crc32(batch));
    framed.bytes(batch);
    const std::size_t size = framed.out().size();
    if (std::fwrite(framed.out().data(), 1, size, writing_.get()) == size && std::fflush(writing_.get()) == 0) {
      segment.size += size;
      return true;
    }
    writing_.reset();  // nothing is appended behind a part of a batch
    segment.full = true;
    return false;
  }

  // Opens the newest file for appending, or a new one that begins with what is known beside the events.
  bool begin_segment() {
    if (!segments_.empty() && !segments_.rbegin()->second.full) {
      writing_.reset(std::fopen(path(segments_.rbegin()->first).c_str(), "ab"));
      return writing_ != nullptr;
    }
    const std::uint32_t number = segments_.empty() ? 1 : segments_.rbegin()->first + 1;
    writing_.reset(std::fopen(path(number).c_str(), "wb"));
    if (!writing_ || std::fwrite(magic.data(), 1, magic.size(), writing_.get()) != magic.size()) {
      writing_.reset();
      return false;
    }
    Segment& segment = segments_[number];
    segment.size = magic.size();
    PayloadWriter head;
    head.u16(kind_head);
    put_long(head, last_);
    put_long(head, erased_);
    for (const auto& [name, mark] : waits_) {
      head.u16(kind_wait);
      put_long(head, mark.taken);
      head.u32(mark.seen);
      head.text(name);
    }
    return append(head.out(), segment);
  }

  // Removes the oldest files while they hold nothing, or most of what all files hold is dead.
  void clean() {
    while (segments_.size() > 1) {
      std::uint64_t total = 0;
      for (const auto& [number, segment] : segments_) total += segment.size;
      const auto [oldest, segment] = *segments_.begin();
      if (segment.live != 0) {
        if (total <= 2 * bytes_ + 4 * segment_size_ || !copy_live(oldest)) return;
      }
      if (reading_segment_ == oldest) reading_.reset();
      if (platform::remove_file(path(oldest).c_str()) != platform::error_none) return;
      segments_.erase(oldest);
    }
  }
  bool copy_live(std::uint32_t segment) {
    PayloadWriter kept = std::exchange(pending_, {});
    bool good = true;
    for (const Entry& entry : index_) {
      StoredEvent event;
      if (!entry.live || entry.segment != segment) continue;
      good = good && read(entry, event);
      if (good) put(event);
    }
    kept = std::exchange(pending_, std::move(kept));
    return good && write(kept.out());
  }

  std::string directory_;
  std::size_t segment_size_;
  PayloadWriter pending_;
  std::deque<Entry> index_;
  std::map<std::uint32_t, Segment> segments_;
  std::map<std::string, WaitMark> waits_;
  File writing_;  // the newest segment
  File reading_;
  std::uint32_t reading_segment_ = 0;
  std::unique_ptr<std::byte[]> spare_{new (std::nothrow) std::byte[spare_size]};
};

}  // namespace

std::unique_ptr<EventStore> make_file_event_store(const std::string& directory, std::size_t segment_size) {
  return std::make_unique<FileEventStore>(directory, segment_size);
}

}  // namespace ox::manager
