#include "manager/requests/data_copy.h"

#include <algorithm>
#include <asio/post.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <new>

#include "manager/base/later.h"

namespace ox::manager {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto copy_step = std::chrono::milliseconds(3);
constexpr std::size_t cells_of_look = 256;  // at the clock

// Segment by segment: its rounds begin, get their cells series by series, and end.
class Copy final : public std::enable_shared_from_this<Copy> {
 public:
  Copy(Manager& manager, std::shared_ptr<const EntryView> from, std::string to, std::function<void(OX_RESULT)> done)
      : manager_(manager),
        series_(manager.series),
        view_(std::move(from)),
        name_(std::move(to)),
        done_(std::move(done)) {}

  void start() {
    to_ = series_.make_copy(name_, *view_->layout);
    step();
  }

 private:
  void step() {
    try {
      if (series_.find(name_) != to_) return done_(OX_ENOCOMP);  // it was deleted meanwhile
      if (series_.is_away()) return later(manager_.loop, look_again, next());
      const bool all = copy_on(Clock::now() + copy_step);
      if (lost_) return give_up(OX_ERUNTIME);
      series_.when_safe([self = shared_from_this(), all](OX_RESULT result) { self->stepped(result, all); });
    } catch (const std::bad_alloc&) {
      give_up(OX_ENOMEM);
    }
  }

  void stepped(OX_RESULT result, bool all) {
    if (result != OX_OK) return give_up(result);
    all ? done_(OX_OK) : asio::post(manager_.loop, next());
  }

  [[nodiscard]] std::function<void()> next() {
    return [self = shared_from_this()] { self->step(); };
  }

  void give_up(OX_RESULT why) {
    series_.remove(series_.find(name_) == to_ ? to_ : 0);
    done_(why);
  }

  // True when all of it is there.
  bool copy_on(Clock::time_point until) {
    for (std::size_t i = 1;; ++i) {
      if (!cells_ && !begin_segment()) {
        if (!ended_) return false;
        finish();
        return true;
      }
      if (const Cell* const cell = cells_->next()) {
        Cell put = *cell;
        const bool is_time = cells_->series() == round_series;
        if (!is_time && !series_.put_copied(to_, cell->place, cells_->series(), put)) lost_ = true;
      } else {
        end_segment();
      }
      if (i % cells_of_look == 0 && (lost_ || Clock::now() >= until)) return false;
    }
  }

  // False when there is none, or none can begin yet.
  bool begin_segment() {
    ended_ = at_ >= view_->rounds;
    if (ended_ || !series_.has_room(to_)) return false;
    next_ = std::min(view_->rounds, at_ + rounds_of_segment);
    CellCursor times(series_, view_, at_, next_, round_series);
    while (const Cell* const time = times.next()) {
      if (series_.begin_round(to_, static_cast<std::int64_t>(time->number)) != time->place) lost_ = true;
    }
    lost_ = lost_ || times.lost();
    cells_ = std::make_unique<CellCursor>(series_, view_, at_, next_);
    return true;
  }

  void end_segment() {
    lost_ = lost_ || cells_->lost();
    for (; at_ < next_; ++at_) series_.end_round(to_, at_);
    cells_.reset();
  }

  void finish() {
    series_.gap_runs(*view_, 0, 0, [this](const GapRun& run) {
      if (run.series.component != all_items) return;
      series_.missed(to_, run.first, run.last, run.rounds, run.values, gap_of(run.status), code_of_gap(run.status));
    });
    series_.finish_copy(to_);
  }

  Manager& manager_;
  SeriesStore& series_;
  std::shared_ptr<const EntryView> view_;
  std::string name_;
  std::function<void(OX_RESULT)> done_;
  EntryId to_ = 0;
  std::unique_ptr<CellCursor> cells_;
  std::uint32_t at_ = 0;
  std::uint32_t next_ = 0;
  bool ended_ = false;
  bool lost_ = false;
};

}  // namespace

void copy_collected(Manager& manager, const std::string& from, const std::string& to,
                    const std::function<void(OX_RESULT)>& done) {
  if (manager.series.find(to) != 0) return done(OX_EEXISTS);
  const EntryId source = manager.series.find(from);
  if (source == 0) return done(OX_OK);
  const auto view = manager.series.view(source);
  if (!view || view->lost != 0) return done(OX_ERUNTIME);
  std::make_shared<Copy>(manager, view, to, done)->start();
}

}  // namespace ox::manager
