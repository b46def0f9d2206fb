#include "manager/reports/persistent_waits.h"

#include <algorithm>
#include <asio/steady_timer.hpp>
#include <ctime>

#include "common/protocol.h"
#include "platform/registry.h"

namespace ox::manager {
namespace {

constexpr std::size_t longest_name = 64;
constexpr int most_waits_of_session = 1000;
constexpr auto refusal_pause = std::chrono::seconds(1);
constexpr std::uint32_t nothing_received = 0xFFFFFFFF;

// Where the client cannot make it, the place where it remembers what it has taken.
void make_memory(const std::string& name) {
  (void)platform::RegistryNumber::provide((wait_key_prefix + name).c_str(), wait_number_name, nothing_received);
}

}  // namespace

// An open persistent wait.
class PersistentWait final : public ReportSource,
                             public EventReader,
                             public std::enable_shared_from_this<PersistentWait> {
 public:
  PersistentWait(asio::io_context& loop, EventReaders& events, Clients& clients, PersistentWaits& waits,
                 std::uint32_t id, std::uint32_t session, std::string name, std::uint32_t user_word, EventSight sight)
      : EventReader(false),
        events_(events),
        clients_(clients),
        waits_(waits),
        outbox_(clients.outbox(session)),
        id_(id),
        session_(session),
        name_(std::move(name)),
        user_word_(user_word),
        sight_(std::move(sight)),
        timer_(loop) {}
  ~PersistentWait() override {
    events_.remove(*this);
    outbox_.leave(*this);
  }
  PersistentWait(const PersistentWait&) = delete;
  PersistentWait& operator=(const PersistentWait&) = delete;

  [[nodiscard]] std::uint32_t session() const { return session_; }
  [[nodiscard]] const std::string& name() const { return name_; }

  void wake() override { outbox_.ready(*this); }
  [[nodiscard]] bool wants(const LoggedEvent& event) const override { return sight_.sees(event); }

  std::optional<Reply> next_report() override {
    if (waits_.unanswered(session_) || state_ == State::refused) return {};
    if (state_ == State::reading && !read()) return {};
    state_ = State::again;  // until everything has found memory
    Reply report = error_reply(error_);
    if (event_) report.data = event_->body;
    report.source_id = id_;
    report.report = ReportHeading{command_application_data, user_word_, static_cast<std::uint32_t>(place)};
    waits_.delivered(*this);
    return report;
  }
  [[nodiscard]] bool held() const override { return waits_.unanswered(session_); }

  // Its delivery was refused: it comes again after a pause.
  void refuse() {
    state_ = State::refused;
    timer_.expires_after(refusal_pause);
    // What has run out is called back even when the wait goes before that.
    timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
      const auto self = weak.lock();
      if (error || !self) return;
      self->state_ = State::again;
      self->wake();
    });
  }
  void go_on() { state_ = State::reading; }
  // An earlier wait of this name has taken what comes up to there.
  void pass_over(Sequence taken) {
    if (place >= taken) return;
    place = taken;
    page.clear();
  }

 private:
  bool read() {
    error_ = OX_OK;
    event_ = nullptr;
    switch (events_.read(*this, std::numeric_limits<Sequence>::max(), event_)) {
      case EventReaders::Read::nothing:
        return false;
      case EventReaders::Read::lost:
        clients_.warn_of_loss(session_);
        error_ = reports_lost;
        return true;
      case EventReaders::Read::event:
        break;
    }
    return true;
  }

  enum class State { reading, again, refused };

  EventReaders& events_;
  Clients& clients_;
  PersistentWaits& waits_;
  Outbox& outbox_;
  std::uint32_t id_;
  std::uint32_t session_;
  std::string name_;
  std::uint32_t user_word_;
  EventSight sight_;
  State state_ = State::reading;
  EventRef event_;  // what is or was delivered last; null for a notice
  OX_RESULT error_ = OX_OK;
  asio::steady_timer timer_;
};

PersistentWaits::PersistentWaits(asio::io_context& loop, const Settings& settings, const Vocabulary& vocabulary,
                                 EventLog& events, Clients& clients)
    : loop_(loop), settings_(settings), vocabulary_(vocabulary), events_(events), clients_(clients) {
  events_.on_forgotten([this](const std::string& name) { forget(name); });
}
PersistentWaits::~PersistentWaits() = default;

OX_RESULT PersistentWaits::open(std::uint32_t session, const std::string& name, std::uint32_t user_word,
                                RightsPtr rights, std::uint32_t& id) {
  if (name.empty()) return OX_EMISSING;
  if (name.size() > longest_name) return OX_EWAITNAME;
  if (by_name_.contains(name)) return OX_EEXISTS;
  const auto of_session = [&](const auto& entry) { return entry.second->session() == session; };
  if (std::count_if(waits_.begin(), waits_.end(), of_session) >= most_waits_of_session) return OX_ETOOMANY;
  const auto mark = events_.marks().find(name);
  if (mark == events_.marks().end() && events_.marks().size() >= settings_.max_wait_names) return OX_ETOOMANY;
  WaitMark opened{.taken = events_.readers().last()};
  if (mark != events_.marks().end()) opened = mark->second;
  opened.seen = EventLog::seen_now;
  if (opened.maker == 0) opened.maker = rights->user().mark();
  Maker& maker = makers_[name];
  if (!maker.user && opened.maker == rights->user().mark()) maker.user = rights->shared_user();
  do {
    ++last_id_;
  } while (last_id_ == 0 || waits_.contains(last_id_));
  id = last_id_;
  auto& wait = waits_[id] =
      std::make_shared<PersistentWait>(loop_, events_.readers(), clients_, *this, id, session, name, user_word,
                                       EventSight{std::move(rights), &vocabulary_});
  by_name_[name] = wait.get();
  make_memory(name);
  events_.set_mark(name, opened);
  events_.readers().add(*wait, opened.taken);
  maker.count(false);
  return OX_OK;
}

void PersistentWaits::Maker::count(bool counts) {
  if (counts == counted || !user) return;
  counted = counts;
  counts ? ++user->holds.registrations : --user->holds.registrations;
}

bool PersistentWaits::counts_for(const User& user, const std::string& name) const {
  const auto maker = makers_.find(name);
  return maker != makers_.end() && maker->second.counted && maker->second.user.get() == &user;
}

void PersistentWaits::count_for(const std::shared_ptr<User>& user) {
  for (const auto& [name, mark] : events_.marks()) {
    if (mark.maker != user->mark()) continue;
    Maker& maker = makers_[name];
    maker.user = user;
    maker.count(!by_name_.contains(name));
  }
}

void PersistentWaits::forget(const std::string& name) {
  const auto maker = makers_.find(name);
  if (maker == makers_.end()) return;
  maker->second.count(false);
  makers_.erase(maker);
}

void PersistentWaits::leave(PersistentWait& wait) {
  WaitMark mark = events_.marks().at(wait.name());
  mark.seen = static_cast<std::uint32_t>(std::time(nullptr));
  events_.set_mark(wait.name(), mark);
  by_name_.erase(wait.name());
  makers_.at(wait.name()).count(true);
}

std::optional<std::uint32_t> PersistentWaits::close(std::uint32_t id, std::uint32_t asking, bool any) {
  const auto found = waits_.find(id);
  if (found == waits_.end() || (!any && found->second->session() != asking)) return std::nullopt;
  const std::uint32_t session = found->second->session();
  leave(*found->second);
  // A wait that is closed inside its callback is still to hear whether the delivery is taken.
  const auto delivery = unanswered_.find(session);
  if (delivery != unanswered_.end() && delivery->second.wait == found->second.get()) delivery->second.wait = nullptr;
  waits_.erase(found);
  return session;
}

void PersistentWaits::end_session(std::uint32_t session) {
  unanswered_.erase(session);
  for (auto entry = waits_.begin(); entry != waits_.end();) {
    const auto next = std::next(entry);
    if (entry->second->session() == session) {
      leave(*entry->second);
      waits_.erase(entry);
    }
    entry = next;
  }
}

void PersistentWaits::delivered(PersistentWait& wait) {
  unanswered_.emplace(wait.session(), Delivery{wait.name(), wait.place, &wait});
}

void PersistentWaits::answer(std::uint32_t session, std::uint32_t number, bool taken) {
  const auto found = unanswered_.find(session);
  if (found == unanswered_.end() || static_cast<std::uint32_t>(found->second.sequence) != number) return;
  const Delivery delivery = std::move(found->second);
  unanswered_.erase(found);
  clients_.outbox(session).release();
  if (taken) {
    take(delivery);
  } else if (delivery.wait != nullptr) {
    delivery.wait->refuse();
  }
}

void PersistentWaits::take(const Delivery& delivery) {
  const auto mark = events_.marks().find(delivery.name);
  if (mark != events_.marks().end() && mark->second.taken < delivery.sequence) {
    WaitMark further = mark->second;
    further.taken = delivery.sequence;
    events_.set_mark(delivery.name, further);
  }
  if (delivery.wait != nullptr) return delivery.wait->go_on();
  const auto reopened = by_name_.find(delivery.name);
  if (reopened != by_name_.end()) reopened->second->pass_over(delivery.sequence);
}

}  // namespace ox::manager
