// What is collected: data entries with their axes, rounds and cells, in the database of collected data.
//
// What is put in one turn of the event loop is committed at its end. Cells are staged as they come, and become blocks,
// one for each series, when a segment of rounds is full. A number that has been given for an item or a series stays
// what it is for as long as its entry is there.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <oxbase/oxtypes.h>

#include "manager/series/collected_file.h"
#include "manager/series/entry.h"

namespace ox::manager {

using EntryId = std::uint32_t;  // 0: none

class SeriesStore final : private CollectedFile::User {
 public:
  explicit SeriesStore(CollectedFile& file);

  // Makes an entry, which is being filled: for the data entry of that name, collected by the log entry of that key.
  [[nodiscard]] EntryId make(const std::string& name, const std::string& owner);
  // By the name of the data entry; 0 when nothing is kept for it.
  [[nodiscard]] EntryId find(std::string_view name) const;
  // Nothing more is put into it.
  void close(EntryId id);
  [[nodiscard]] bool is_open(EntryId id) const;
  [[nodiscard]] std::string owner(EntryId id) const;
  // What is in the books; those of a round that is not safe yet are in them, too.
  [[nodiscard]] Counts counts(EntryId id) const;

  // The calls that follow are about entries that are being filled; about others they do nothing.
  // Numbers of the items of an axis, and of a series; they are made when they are new.
  [[nodiscard]] std::uint32_t item(EntryId id, Axis axis, std::string_view text);
  [[nodiscard]] std::uint32_t series(EntryId id, const SeriesKey& key);
  // A round is due at a time (milliseconds since 1970). So many values are expected of it, told before they come. Each
  // answer of an agent is a reading: when it was read, and what the agent's own clock said.
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

  // Calls back at the end of the turn: 0 when all that has been put is safe; 144 when the disk has refused it. It is
  // tried again with the next turn then.
  using Done = std::function<void(OX_RESULT)>;
  void when_safe(Done done);

 private:
  enum class State : std::uint32_t { open = 1, closing = 2, closed = 3, removed = 4 };
  struct Entry {
    EntryId id = 0;
    std::string name;
    std::string owner;
    State state = State::open;
    Counts sealed{};  // of the rounds that are in blocks
    std::uint32_t sealed_rounds = 0;
    std::int64_t last_due = 0;
    bool row_is_due = true;              // its row in the database is not what it is
    std::unique_ptr<OpenEntry> cells{};  // null when all of them are in blocks
    std::array<std::size_t, axis_count> written_items{};
    std::size_t written_series = 0;
    std::size_t put_series = 0;  // of this turn, as are the next
    std::array<std::size_t, axis_count> put_items{};
    std::size_t staged = 0;
    std::uint32_t safe_rounds = 0;  // ended, and in the database
  };

  [[nodiscard]] bool load(bool renewed) override;
  [[nodiscard]] bool put() override;
  void ended(bool safe) override;
  void answer(bool safe) override;

  [[nodiscard]] bool load_entries();
  [[nodiscard]] bool load_layout(EntryId id, Layout& layout);
  [[nodiscard]] bool load_staged();
  [[nodiscard]] bool write_again();
  void end_open_rounds();
  void tell_unbalanced() const;
  [[nodiscard]] OpenEntry* filled(EntryId id);
  [[nodiscard]] const Entry* entry(EntryId id) const;
  [[nodiscard]] Entry* entry(EntryId id);
  void put_row(const Entry& entry);
  void put_layout(Entry& entry);
  void put_staged(Entry& entry);
  OpenEntry* touch(EntryId id);

  CollectedFile& file_;
  std::map<EntryId, Entry> entries_;
  std::map<std::string, EntryId, std::less<>> by_name_;
  EntryId last_entry_ = 0;
  std::uint64_t last_staged_ = 0;
  bool loaded_ = false;
  // Of this turn.
  std::vector<EntryId> touched_;
  std::vector<Done> waiting_;
};

}  // namespace ox::manager
