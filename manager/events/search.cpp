#include "manager/events/search.h"

#include <algorithm>
#include <asio/post.hpp>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace ox::manager {
namespace {

constexpr std::size_t page_events = 256;
constexpr std::size_t page_bytes = 1u << 20;

// A page in each turn of the loop: other clients do not wait for it.
class Search : public std::enable_shared_from_this<Search> {
 public:
  using Answer = std::function<void(OX_RESULT, Bytes)>;

  Search(asio::io_context& loop, EventLog& log, FilterPtr filter, Answer answer)
      : loop_(loop),
        log_(log),
        filter_(std::move(filter)),
        answer_(std::move(answer)),
        backward_(oxeEvfltGetNumber(filter_.get(), OX_EVFLT_LAST, &limit_) == OX_OK),
        place_(backward_ ? std::numeric_limits<Sequence>::max() : 0) {
    if (!backward_) (void)oxeEvfltGetNumber(filter_.get(), OX_EVFLT_FIRST, &limit_);
  }

  void next_page() {
    try {
      if (!read_page()) return finish();
      asio::post(loop_, [self = shared_from_this()] { self->next_page(); });
    } catch (const std::bad_alloc&) {
      answer_(OX_ENOMEM, {});
    }
  }

 private:
  // False when that was the last one.
  bool read_page() {
    EventStore& store = log_.store();
    std::vector<StoredEvent> page;
    outcome_ = backward_ ? store.before(place_, page_events, page_bytes, page)
                         : store.after(place_, page_events, page_bytes, page);
    for (const StoredEvent& event : page) {
      place_ = event.sequence;
      if (event.listed && matches(event)) found_.push_back(event.body);
      if (limit_ != 0 && found_.size() == limit_) {
        outcome_ = Outcome::done;
        return false;
      }
    }
    return outcome_ == Outcome::done && !page.empty();
  }

  [[nodiscard]] bool matches(const StoredEvent& event) const {
    EventPtr decoded;
    return decode_events(event.body, decoded) == OX_OK && oxeEvfltMatch(decoded.get(), filter_.get()) != 0;
  }

  void finish() {
    if (outcome_ != Outcome::done) return answer_(OX_ERUNTIME, {});
    if (found_.empty()) return answer_(OX_ENOTFOUND, {});
    Bytes all;
    std::size_t size = 0;
    for (const Bytes& body : found_) size += body.size();
    all.reserve(size);
    if (backward_) std::reverse(found_.begin(), found_.end());
    for (const Bytes& body : found_) all.insert(all.end(), body.begin(), body.end());
    answer_(OX_OK, std::move(all));
  }

  asio::io_context& loop_;
  EventLog& log_;
  FilterPtr filter_;
  Answer answer_;
  std::uint32_t limit_ = 0;  // 0: none
  bool backward_;
  Sequence place_;
  std::vector<Bytes> found_;
  Outcome outcome_ = Outcome::done;
};

}  // namespace

OX_RESULT search_log(asio::io_context& loop, EventLog& log, std::span<const std::byte> filter,
                     std::function<void(OX_RESULT, Bytes)> answer) {
  evflt* decoded = nullptr;
  const auto length = static_cast<std::uint32_t>(filter.size());
  if (const OX_RESULT result = oxeEvfltDecode(filter.data(), length, &decoded)) return result;
  const auto search = std::make_shared<Search>(loop, log, FilterPtr(decoded), std::move(answer));
  log.flush();
  search->next_page();
  return OX_OK;
}

}  // namespace ox::manager
