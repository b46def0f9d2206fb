#include "manager/requests/item_answer.h"

#include <asio/post.hpp>
#include <chrono>
#include <utility>

#include "manager/base/job.h"

namespace ox::manager {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t small_answer = 256 * 1024;  // bytes that are kept while they are counted
constexpr auto answer_step = std::chrono::milliseconds(5);

// Counts, then gives. When its client goes it ends.
class ItemAnswer final : public ByteSource, public Job {
 public:
  ItemAnswer(Manager& manager, const Request& request, std::function<NodesOfItems()> make)
      : Job(manager.loop), manager_(manager), reply_(request.reply), make_(std::move(make)), nodes_(make_()) {}

  void count() {
    step([this] {
      const auto self = std::static_pointer_cast<ItemAnswer>(shared_from_this());
      if (ended() || count_on()) return operation_ended();
      asio::post(manager_.loop, [self] { self->count(); });
    });
  }

  [[nodiscard]] std::uint64_t left() const override { return left_; }
  [[nodiscard]] bool take(Bytes& piece) override {
    if (!nodes_.next(piece) || piece.size() > left_) return false;
    left_ -= piece.size();
    return true;
  }
  [[nodiscard]] std::string fault() const override { return "what it reads has changed meanwhile"; }

 private:
  // False when there is more.
  bool count_on() {
    const auto until = Clock::now() + answer_step;
    for (;;) {
      const std::size_t before = kept_.size();
      if (!nodes_.next(kept_)) return true;
      left_ += kept_.size() - before;
      if (left_ > small_answer) kept_.clear();
      if (Clock::now() >= until) return false;
    }
  }

  void finish(OX_RESULT why) override {
    if (why != OX_OK) return reply_(error_reply(why));
    const OX_RESULT result = nodes_.lost() ? OX_RESULT{OX_ENODES} : OX_RESULT{OX_OK};
    if (left_ <= small_answer) return reply_({.error = result, .data = std::move(kept_)});
    kept_ = {};
    nodes_ = make_();
    reply_({.error = result, .rest = std::static_pointer_cast<ItemAnswer>(shared_from_this())});
  }

  Manager& manager_;
  std::function<void(Reply)> reply_;
  std::function<NodesOfItems()> make_;
  NodesOfItems nodes_;
  Bytes kept_;
  std::uint64_t left_ = 0;
};

}  // namespace

void answer_items(Manager& manager, const Request& request, const ComponentName& component, const Oid& path,
                  MakeItems make) {
  const auto nodes = [component, path, make = std::move(make)] { return NodesOfItems(component, path, make()); };
  const auto answer = std::make_shared<ItemAnswer>(manager, request, nodes);
  manager.jobs.add(request.session, answer);
  answer->count();
}

}  // namespace ox::manager
