#include "manager/series/entry.h"

#include <algorithm>
#include <utility>

namespace ox::manager {
namespace {

// What staged bytes say. A cell's first byte has its highest bit set.
enum Word : std::uint8_t {
  begin_word = 1,   // the round, its due time
  expect_word = 2,  // the round, so many values
  round_word = 3,   // the round of the cells that follow
  end_word = 4,     // the round, the status of what is left
  missed_word = 5,  // the segment, from, to, rounds, values, status
};

void put_word(Bytes& out, Word word) { out.push_back(static_cast<std::byte>(word)); }

constexpr std::uint32_t item_size = 32;          // of a cell beside its value
constexpr std::uint32_t most_rounds = 1u << 31;  // of an entry
constexpr std::size_t most_of_cell = 48;         // laid out, beside bytes that are no number

// Nothing that is appended up to there needs memory.
void make_room(Bytes& out, std::size_t size) {
  if (out.capacity() - out.size() < size) out.reserve(std::max(out.size() + size, out.capacity() * 2));
}

}  // namespace

struct Applying {
  CellState state;
  std::uint32_t round = 0;
};

OpenEntry::OpenEntry(std::shared_ptr<Layout> layout, std::uint32_t first_round, const Counts& before)
    : layout_(std::move(layout)), first_round_(first_round), next_round_(first_round), counts_(before) {
  filling_.number = segment_of(first_round);
}

void OpenEntry::start_segment(std::uint32_t number) {
  if (number == filling_.number) return;
  if (full_) counts_.lost += full_->counts.stored + full_->counts.gaps;  // no more than two are ever staged
  full_ = std::move(filling_);
  filling_ = {};
  filling_.number = number;
}

void OpenEntry::add_round(std::uint32_t round, std::int64_t due) {
  start_segment(segment_of(round));
  open_[round].due_at = due;
  next_round_ = round + 1;
  last_due_ = due;
  add_cell(round, round_series, {.form = Cell::eight_bytes, .number = bits_of(due)});
}

void OpenEntry::add_due(std::uint32_t round, std::uint32_t values) {
  open_.at(round).due += values;
  segment_for(round).counts.due += values;
  counts_.due += values;
  counts_.open += values;
}

std::uint32_t OpenEntry::begin_round(std::int64_t due) {
  const std::uint32_t round = next_round_;
  put_word(laid_out_, begin_word);
  put_varint(laid_out_, round);
  put_signed(laid_out_, bits_of(due));
  add_round(round, due);
  return round;
}

void OpenEntry::expect(std::uint32_t round, std::uint32_t values) {
  if (values == 0 || !open_.contains(round)) return;
  put_word(laid_out_, expect_word);
  put_varint(laid_out_, round);
  put_varint(laid_out_, values);
  add_due(round, values);
}

std::uint32_t OpenEntry::add_reading(std::uint32_t round, std::uint32_t component, std::int64_t read_at,
                                     std::optional<std::uint32_t> uptime) {
  const auto open = open_.find(round);
  if (open == open_.end()) return 0;
  std::vector<std::uint32_t>& readings = open->second.readings;
  if (component >= readings.size()) {
    readings.resize(std::max<std::size_t>(component + std::size_t{1}, layout_->items(Axis::component).size()));
  }
  const std::uint32_t number = readings[component]++;
  const std::uint32_t when = layout_->clock_series(component, number * 2);
  (void)put(round, when, {.form = Cell::eight_bytes, .number = bits_of(read_at - open->second.due_at)});
  if (uptime) {
    const std::uint32_t clock = layout_->clock_series(component, number * 2 + 1);
    (void)put(round, clock, {.form = Cell::four_bytes, .number = *uptime});
  }
  return number;
}

Segment& OpenEntry::segment_for(std::uint32_t round) {
  return segment_of(round) == filling_.number ? filling_ : *full_;
}

bool OpenEntry::accepts(std::uint32_t round, std::uint32_t series) const {
  const bool filling = segment_of(round) == filling_.number;
  if (!open_.contains(round) || (!filling && (!full_ || segment_of(round) != full_->number))) return false;
  const Segment& segment = filling ? filling_ : *full_;
  if (!filling && series < filling_.tails.size() && !filling_.tails[series].bytes.empty()) return false;
  if (series >= segment.tails.size() || segment.tails[series].bytes.empty()) return true;
  return segment.tails[series].state.place + 1 <= round % rounds_of_segment;
}

// Its place, with room for one more.
Tail& OpenEntry::tail_for(std::uint32_t round, std::uint32_t series, const Cell& cell) {
  Segment& segment = segment_for(round);
  if (series >= segment.tails.size()) {
    segment.tails.resize(std::max<std::size_t>(series + std::size_t{1}, layout_->all_series().size()));
  }
  make_room(segment.tails[series].bytes, most_of_cell + cell.bytes.size());
  return segment.tails[series];
}

void OpenEntry::add_cell(std::uint32_t round, std::uint32_t series, Cell cell) {
  add_cell(round, series, cell, tail_for(round, series, cell));
}

void OpenEntry::add_cell(std::uint32_t round, std::uint32_t series, Cell cell, Tail& tail) {
  Segment& segment = segment_for(round);
  cell.place = round % rounds_of_segment;
  put_cell(tail.bytes, tail.state, cell);
  tail.has_gaps = tail.has_gaps || cell.form == Cell::gap;
  if (!Layout::has_values(layout_->all_series()[series])) return;
  for (Counts* const counts : {&segment.counts, &counts_}) {
    ++(cell.form == Cell::gap ? counts->gaps : counts->stored);
    counts->bytes += item_size + cell.length();
  }
  OpenRound& open = open_.at(round);
  if (open.got++ < open.due) {
    --counts_.open;
  } else {  // more than was expected is due, too
    ++counts_.due;
    ++segment.counts.due;
    ++open.due;
  }
}

void OpenEntry::lay_out_round(std::uint32_t round) {
  if (laid_round_ == round) return;
  put_word(laid_out_, round_word);
  put_varint(laid_out_, round);
  laid_round_ = round;
}

bool OpenEntry::put(std::uint32_t round, std::uint32_t series, Cell cell) {
  if (series >= layout_->all_series().size() || !accepts(round, series)) return false;
  make_room(laid_out_, 2 * most_of_cell + cell.bytes.size());
  Tail& tail = tail_for(round, series, cell);
  lay_out_round(round);
  laid_state_.number = 0;  // that of another series says nothing
  cell.place = series;
  put_cell(laid_out_, laid_state_, cell);
  add_cell(round, series, cell, tail);
  return true;
}

void OpenEntry::finish_round(std::uint32_t round, std::uint32_t status) {
  const auto open = open_.find(round);
  const OpenRound ended = std::move(open->second);
  open_.erase(open);
  if (ended.got >= ended.due) return;
  const std::uint64_t left = ended.due - ended.got;
  counts_.open -= left;
  counts_.gaps += left;
  segment_for(round).counts.gaps += left;
  missed_.push_back({segment_of(round), ended.due_at, ended.due_at, 1, left, status});
}

void OpenEntry::end_round(std::uint32_t round, std::uint32_t status) {
  if (!open_.contains(round)) return;
  put_word(laid_out_, end_word);
  put_varint(laid_out_, round);
  put_varint(laid_out_, status);
  finish_round(round, status);
}

void OpenEntry::count_missed(const Missed& missed) {
  for (Counts* const counts : {&filling_.counts, &counts_}) {
    counts->due += missed.values;
    counts->gaps += missed.values;
  }
  last_due_ = std::max(last_due_, missed.to);
  missed_.push_back(missed);
}

void OpenEntry::add_missed(Missed missed) {
  missed.segment = filling_.number;
  put_word(laid_out_, missed_word);
  put_varint(laid_out_, missed.segment);
  put_signed(laid_out_, bits_of(missed.from));
  put_signed(laid_out_, bits_of(missed.to));
  put_varint(laid_out_, missed.rounds);
  put_varint(laid_out_, missed.values);
  put_varint(laid_out_, missed.status);
  count_missed(missed);
}

void OpenEntry::clear_laid_out() {
  laid_out_.clear();
  laid_state_ = {};
  laid_round_.reset();
}

std::uint32_t OpenEntry::ended_rounds() const { return open_.empty() ? next_round_ : open_.begin()->first; }

bool OpenEntry::full_has_ended() const { return full_ && segment_of(ended_rounds()) > full_->number; }

bool OpenEntry::fill_up() {
  if (filling_.tails.empty() && missed_.empty()) return false;
  start_segment(filling_.number + 1);
  next_round_ = filling_.number * rounds_of_segment;
  return true;
}

void OpenEntry::forget_full() {
  std::erase_if(missed_, [this](const Missed& missed) { return missed.segment <= full_->number; });
  full_.reset();
}

void OpenEntry::apply(std::span<const std::byte> staged) {
  ByteCursor in(staged);
  Applying at;
  while (in.left() != 0) apply_one(in, at);
  if (in.failed()) ++counts_.lost;
}

void OpenEntry::apply_cell(std::uint8_t first, ByteCursor& in, Applying& at) {
  at.state.number = 0;
  const Cell cell = take_cell(first, in, at.state);
  if (in.failed() || at.round < first_round_) return;
  if (cell.place >= layout_->all_series().size() || !accepts(at.round, cell.place)) {
    ++counts_.lost;
  } else {
    add_cell(at.round, cell.place, cell);
  }
}

void OpenEntry::apply_missed(ByteCursor& in) {
  Missed missed;
  missed.segment = in.word();
  missed.from = static_cast<std::int64_t>(in.signed_number());
  missed.to = static_cast<std::int64_t>(in.signed_number());
  missed.rounds = in.varint();
  missed.values = in.varint();
  missed.status = in.word();
  if (!in.failed() && missed.segment >= segment_of(first_round_)) count_missed(missed);
}

void OpenEntry::apply_one(ByteCursor& in, Applying& at) {
  const std::uint8_t word = in.byte();
  if ((word & cell_mark) != 0) return apply_cell(word, in, at);
  if (word == missed_word) return apply_missed(in);
  if (word < begin_word || word > end_word) return void(in.fail());
  apply_round(word, in, at);
}

// Of rounds that are in blocks nothing is counted again. Those whose beginning is lost are lost.
void OpenEntry::apply_round(std::uint8_t word, ByteCursor& in, Applying& at) {
  const std::uint32_t round = in.word();
  if (word == round_word) return void(at.round = round);
  const std::uint64_t what = word == begin_word ? in.signed_number() : in.varint();
  if (in.failed() || round < first_round_) return;
  if (word == begin_word && round >= next_round_ && round < most_rounds) {
    counts_.lost += round - next_round_;
    add_round(round, static_cast<std::int64_t>(what));
  } else if (word == begin_word || !open_.contains(round)) {
    ++counts_.lost;
  } else if (word == expect_word) {
    add_due(round, static_cast<std::uint32_t>(what));
  } else {
    finish_round(round, static_cast<std::uint32_t>(what));
  }
}

}  // namespace ox::manager
