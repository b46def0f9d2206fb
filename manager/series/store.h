// What is collected: data entries with their axes, rounds and cells, in the database of collected data.
//
// What is put is committed at the end of the event loop's turn, but that the cells of a round wait for each other.
// Cells are staged as they come, and become blocks, one for each series, when a segment of rounds is full. A number
// that has been given for an item or a series stays what it is for as long as its entry is there.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <oxbase/oxtypes.h>

#include "manager/base/pace.h"
#include "manager/series/collected_file.h"
#include "manager/series/kept_entry.h"
#include "manager/series/removal.h"
#include "manager/series/sealing.h"
#include "manager/series/view.h"

namespace ox::manager {

// What a renewed file lacks.
struct RenewalLosses {
  std::vector<std::pair<EntryId, std::uint64_t>> cells;  // of entries, in blocks that have gone
  std::vector<EntryId> layouts;                          // with items or series that have gone
};

class SeriesStore final : private CollectedFile::User {
 public:
  explicit SeriesStore(CollectedFile& file);

  // Makes an entry, which is being filled: for the data entry of that name, collected by the log entry of that key.
  [[nodiscard]] EntryId make(const std::string& name, const std::string& owner);
  // By the name of the data entry; 0 when nothing is kept for it.
  [[nodiscard]] EntryId find(std::string_view name) const;
  // Nothing more is put into it.
  void close(EntryId id);
  // What is kept for it goes, in steps; nothing of it is seen any more.
  void remove(EntryId id);
  [[nodiscard]] bool is_open(EntryId id) const;
  // Those whose names `has` does not know: nobody's, since the manager died while they came or went.
  void remove_others(const std::function<bool(const std::string&)>& has);
  [[nodiscard]] std::string owner(EntryId id) const;
  [[nodiscard]] std::string name(EntryId id) const;
  // What is in the books; those of a round that is not safe yet are in them, too.
  [[nodiscard]] Counts counts(EntryId id) const;

  // The calls that follow are about entries that are being filled; about others they do nothing.
  // Numbers of the items of an axis, and of a series; they are made when they are new.
  [[nodiscard]] std::uint32_t item(EntryId id, Axis axis, std::string_view text);
  [[nodiscard]] std::uint32_t series(EntryId id, const SeriesKey& key);
  // A round is due at a time (milliseconds since 1970); no_round while the disk refuses what was before it, or that is
  // not in blocks in time. So many
  // values are expected of it, told before they come. Each answer of an agent is a reading: when it was read, and what
  // the agent's own clock said.
  static constexpr std::uint32_t no_round = 0xFFFFFFFF;
  [[nodiscard]] std::uint32_t begin_round(EntryId id, std::int64_t due);
  void expect(EntryId id, std::uint32_t round, std::uint32_t values);
  [[nodiscard]] std::uint32_t add_reading(EntryId id, std::uint32_t round, std::uint32_t component,
                                          std::int64_t read_at, std::optional<std::uint32_t> uptime);
  // One value, in its stored form, or the reason why there is none. False for a round that is not open, or behind
  // which the series has a cell. Of a value of over 65,535 bytes that is the reason.
  bool put(EntryId id, std::uint32_t round, std::uint32_t series, std::uint32_t reading, std::uint32_t type,
           std::span<const std::byte> value, std::uint32_t status = 0);
  bool put_gap(EntryId id, std::uint32_t round, std::uint32_t series, Gap gap, std::uint32_t code = 0);
  // Ends a round; what was expected and has not come is a gap of that kind.
  void end_round(EntryId id, std::uint32_t round, Gap rest = Gap::no_answer, std::uint32_t code = 0);
  // Rounds that never began, from and to the due times of the first and the last of them, with their values.
  void missed(EntryId id, std::int64_t from, std::int64_t to, std::uint64_t rounds, std::uint64_t values, Gap gap,
              std::uint32_t code = 0);
  // When the newest round was due; 0 without one.
  [[nodiscard]] std::int64_t last_due(EntryId id) const;

  [[nodiscard]] bool has(EntryId id) const;
  // What an entry has, of the rounds that have ended and are safe, for who wants none before that one. Null without an
  // entry.
  [[nodiscard]] std::shared_ptr<const EntryView> view(EntryId id, std::uint32_t from = 0);
  // The cells of a series in a segment, their places counted from its first round. False when they do not read.
  [[nodiscard]] bool cells_of(const EntryView& view, std::uint32_t segment, std::uint32_t series,
                              CellsOfSegment& taken);

  // The layout of an entry that is not all in blocks; null for any other.
  [[nodiscard]] const Layout* layout(EntryId id) const;
  // Calls with an entry when more of it is safe, or it has been closed or has gone.
  void on_news(std::function<void(EntryId)> call) { on_news_ = std::move(call); }

  // An entry that becomes a copy of another one, with its items and series: rounds begin and end as ever, and get cells
  // as they are. Until it is finished the end of the manager is its end, too.
  [[nodiscard]] EntryId make_copy(const std::string& name, const Layout& layout);
  [[nodiscard]] bool put_copied(EntryId id, std::uint32_t round, std::uint32_t series, const Cell& cell);
  void finish_copy(EntryId id);
  // Whether a segment of rounds can begin at once.
  [[nodiscard]] bool has_room(EntryId id) const;

  // The ledger of an entry: runs of gaps that have a round in that time (seconds since 1970; to 0: no end).
  void gap_runs(const EntryView& view, std::uint32_t from, std::uint32_t to,
                const std::function<void(const GapRun&)>& take);

  // Calls back at the end of the turn: 0 when all that has been put is safe; 144 when the disk has refused it. It is
  // tried again with the next turn then.
  using Done = std::function<void(OX_RESULT)>;
  void when_safe(Done done);
  // The last turn was refused.
  [[nodiscard]] bool is_refused() const { return refused_ != 0; }
  // Nothing reads meanwhile, and what is put waits.
  [[nodiscard]] bool is_away() const { return file_.is_away(); }

 private:
  using State = EntryState;
  using Entry = KeptEntry;

  [[nodiscard]] Mend mender() override;
  [[nodiscard]] bool load(bool renewed) override;
  [[nodiscard]] bool put() override;
  void ended(bool safe) override;
  void answer(bool safe) override;

  [[nodiscard]] bool load_entries();
  [[nodiscard]] bool load_layout(EntryId id, Layout& layout);
  [[nodiscard]] bool load_staged();
  [[nodiscard]] bool write_again(const std::vector<EntryId>& layouts);
  void count_losses(const RenewalLosses& losses);
  [[nodiscard]] std::uint64_t last_number(std::size_t table, std::uint64_t from, std::uint64_t to);
  void end_open_rounds();
  void tell_unbalanced() const;
  [[nodiscard]] OpenEntry* filled(EntryId id);
  [[nodiscard]] const Entry* entry(EntryId id) const;
  [[nodiscard]] Entry* entry(EntryId id);
  void put_layout(Entry& entry);
  void put_staged(Entry& entry);
  OpenEntry* touch(EntryId id);
  OpenEntry* touch_cells(EntryId id);
  void changed(EntryId id);
  void note_touched(EntryId id);
  // Blocks of what is full; the staged rows that are no longer needed.
  void seal_on();
  void start_sealing();
  void erase_on(std::chrono::steady_clock::time_point until);
  void sealed(bool safe);
  void remove_on(std::chrono::steady_clock::time_point until);
  void removed(bool safe);
  void go_on_closing(Entry& entry);
  [[nodiscard]] bool make_way(Entry& entry);
  void trim_rounds(EntryView& view);
  void open_runs(const Entry& kept, const EntryView& view, const std::function<void(const GapRun&)>& take);
  [[nodiscard]] std::uint64_t find_chunk(EntryId id, std::uint32_t segment);
  [[nodiscard]] bool read_block(std::uint64_t chunk, std::uint32_t series, CellsOfSegment& taken);

  CollectedFile& file_;
  Query chunk_query_;
  Query block_query_;
  Query gap_query_;
  BlockReader block_reader_;
  std::map<EntryId, Entry> entries_;
  std::map<std::string, EntryId, std::less<>> by_name_;
  EntryId last_entry_ = 0;
  std::uint64_t last_staged_ = 0;
  std::uint64_t last_chunk_ = 0;
  std::set<EntryId> to_seal_;
  std::unique_ptr<Sealing> sealing_;
  std::unique_ptr<Removal> removal_;
  std::set<EntryId> to_remove_;
  std::deque<std::uint64_t> to_erase_;  // staged rows
  std::size_t erased_ = 0;              // of them, in this turn
  Pace pace_;                           // of the work on what is full
  std::optional<Pace::Step> step_;
  bool in_a_hurry_ = false;  // a segment is to be in blocks before anything else can be done
  std::size_t refused_ = 0;  // bytes of cells that the disk has not taken
  bool loaded_ = false;
  std::shared_ptr<RenewalLosses> losses_;
  std::function<void(EntryId)> on_news_;
  // Of this turn.
  std::vector<EntryId> touched_;
  std::vector<EntryId> news_;
  std::vector<Done> waiting_;
};

}  // namespace ox::manager
