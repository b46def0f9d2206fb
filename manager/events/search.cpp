// A search goes through the log twice: the first time it counts, so that the answer's length can be told; the second
// time it gives its client what the first has not kept, as the client takes it.
#include "manager/events/search.h"

#include <algorithm>
#include <asio/post.hpp>
#include <limits>
#include <new>
#include <utility>
#include <vector>

namespace ox::manager {
namespace {

constexpr std::size_t piece_bytes = 64u << 10;  // of the answer, that are held at once; and the rest of an event
constexpr std::uint64_t most_bytes = 0x7FFFFFFF;
// For which everybody waits: that of one step, and of one step of every search.
constexpr auto longest_step = std::chrono::microseconds(2000);
constexpr auto longest_turn = std::chrono::microseconds(8000);

using Clock = std::chrono::steady_clock;

class Search final : public Job, public ByteSource {
 public:
  Search(asio::io_context& loop, FilterPtr filter, std::function<bool(const evmsg*)> readable,
         std::shared_ptr<EventSnapshot> snapshot, LogAnswer answer)
      : Job(loop),
        loop_(loop),
        filter_(std::move(filter)),
        readable_(std::move(readable)),
        snapshot_(std::move(snapshot)),
        answer_(std::move(answer)),
        backward_(oxeEvfltGetNumber(filter_.get(), OX_EVFLT_LAST, &limit_) == OX_OK),
        place_(backward_ ? std::numeric_limits<Sequence>::max() : 0) {
    if (!backward_) (void)oxeEvfltGetNumber(filter_.get(), OX_EVFLT_FIRST, &limit_);
  }

  void start(std::chrono::seconds limit) {
    begin(limit, [this] {
      operation_began();
      count();
    });
  }

  [[nodiscard]] std::uint64_t left() const override { return left_; }
  [[nodiscard]] bool take(Bytes& piece) override;
  [[nodiscard]] std::string fault() const override;

 private:
  using Event = EventSnapshot::Event;

  // Looks at the next events, for a while: those that match until `wanted` has had enough.
  template <class Wanted>
  [[nodiscard]] Outcome look(bool backward, const Wanted& wanted);
  [[nodiscard]] bool matches(const Event& event) const;
  void count();
  [[nodiscard]] bool note(const Event& event);
  [[nodiscard]] bool has_enough() const { return limit_ != 0 && matched_ == limit_; }
  void counted();
  [[nodiscard]] Bytes kept() const;
  void finish(OX_RESULT why) override;

  asio::io_context& loop_;
  FilterPtr filter_;
  std::function<bool(const evmsg*)> readable_;
  std::shared_ptr<EventSnapshot> snapshot_;  // until it has ended
  LogAnswer answer_;                         // until it has been given
  std::uint32_t limit_ = 0;                  // 0: none
  bool backward_;
  Sequence place_;       // of the event looked at last
  bool at_end_ = false;  // there is none behind it
  std::uint32_t matched_ = 0;
  Sequence last_match_ = 0;
  std::uint64_t left_ = 0;   // bytes that match, and have not been given
  std::vector<Bytes> kept_;  // the first that matched: all, while they are no more than a piece
  Sequence last_kept_ = 0;
  bool keeping_ = true;
  OX_RESULT why_ = OX_OK;  // it has ended
};

template <class Wanted>
Outcome Search::look(bool backward, const Wanted& wanted) {
  const auto until = Clock::now() + std::min(longest_step, longest_turn / snapshot_->begun());
  at_end_ = true;
  const auto one = [&](const Event& event) {
    place_ = event.sequence;
    at_end_ = (!event.listed || !matches(event) || wanted(event)) && Clock::now() < until;
    return at_end_;
  };
  return backward ? snapshot_->before(place_, one) : snapshot_->after(place_, one);
}

bool Search::matches(const Event& event) const {
  EventPtr decoded;
  const OX_RESULT result = decode_events(event.body, decoded);
  if (result == OX_ENOMEM) throw std::bad_alloc();
  return result == OX_OK && oxeEvfltMatch(decoded.get(), filter_.get()) != 0 && readable_(decoded.get());
}

void Search::count() {
  if (ended()) return;
  if (look(backward_, [this](const Event& event) { return note(event); }) != Outcome::done) return end(OX_ERUNTIME);
  if (at_end_ || has_enough()) return counted();
  asio::post(loop_, [this, self = shared_from_this()] { step([this] { count(); }); });
}

bool Search::note(const Event& event) {
  ++matched_;
  last_match_ = event.sequence;
  left_ += event.body.size();
  keeping_ = keeping_ && left_ <= piece_bytes;
  if (keeping_) {
    kept_.emplace_back(event.body.begin(), event.body.end());
    last_kept_ = event.sequence;
  }
  return !has_enough();
}

// What has been kept on the way back are the last ones: they come again.
void Search::counted() {
  if (keeping_) return operation_ended();
  if (left_ > most_bytes) return end(OX_EENCODEDLONG);
  const Bytes first = backward_ ? Bytes() : kept();
  place_ = backward_ ? last_match_ - 1 : last_kept_;
  kept_ = {};
  left_ -= first.size();
  const auto answer = std::exchange(answer_, nullptr);
  answer(OX_OK, first, std::static_pointer_cast<Search>(shared_from_this()));
}

Bytes Search::kept() const {
  Bytes all;
  const auto add = [&](const Bytes& body) { all.insert(all.end(), body.begin(), body.end()); };
  backward_ ? std::for_each(kept_.rbegin(), kept_.rend(), add) : std::for_each(kept_.begin(), kept_.end(), add);
  return all;
}

bool Search::take(Bytes& piece) {
  if (ended()) return false;
  const Outcome outcome = look(false, [&](const Event& event) {
    piece.insert(piece.end(), event.body.begin(), event.body.end());
    return piece.size() < std::min<std::uint64_t>(piece_bytes, left_);
  });
  if (outcome != Outcome::done || piece.size() > left_ || (at_end_ && piece.size() < left_)) {
    end(OX_ERUNTIME);
    return false;
  }
  left_ -= piece.size();
  if (left_ == 0) operation_ended();
  return true;
}

std::string Search::fault() const {
  return why_ == OX_ENOANSWER ? "the events that it asked for were not read in time (EventLogTimeout)"
                              : "the events that it asked for do not read any more";
}

void Search::finish(OX_RESULT why) {
  snapshot_.reset();
  why_ = why;
  if (!answer_) return;
  if (why != OX_OK) return answer_(why, {}, nullptr);
  answer_(matched_ != 0 ? OX_RESULT{OX_OK} : OX_RESULT{OX_ENOTFOUND}, kept(), nullptr);
}

}  // namespace

OX_RESULT search_log(asio::io_context& loop, EventLog& log, JobsOfClients& jobs, const LogQuestion& question,
                     LogAnswer answer) {
  evflt* decoded = nullptr;
  const auto length = static_cast<std::uint32_t>(question.filter.size());
  if (const OX_RESULT result = oxeEvfltDecode(question.filter.data(), length, &decoded)) return result;
  FilterPtr filter(decoded);
  log.flush();
  auto snapshot = log.store().snapshot();
  if (!snapshot) return OX_ERUNTIME;
  const auto search =
      std::make_shared<Search>(loop, std::move(filter), question.readable, std::move(snapshot), std::move(answer));
  jobs.add(question.session, search);
  search->start(question.limit);
  return OX_OK;
}

}  // namespace ox::manager
