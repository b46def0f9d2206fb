#include "manager/jobs/fit.h"

#include <algorithm>
#include <asio/post.hpp>
#include <optional>

#include "manager/jobs/targets.h"
#include "manager/snmp/agent.h"

namespace ox::manager {
namespace {

constexpr std::int64_t kept = 60'000;  // milliseconds
constexpr std::size_t at_once = 50;    // agents of one turn
constexpr std::uint64_t day = 86'400;
constexpr double bytes_of_value = 2.5;  // in a block, on the mixture that networks have
constexpr std::uint64_t never = 4294967295;

const Oid fit_path{11, 14, 19};
enum : std::uint32_t { state = 1, requests = 2, bytes = 3, days = 4, agents = 5, values = 6 };

enum class FitState : std::uint32_t { asking = 1, fits = 2, does_not_fit = 3 };

Oid path_of(std::uint32_t number, std::uint32_t instance = 0) {
  return {fit_path[0], fit_path[1], fit_path[2], number, instance};
}

std::uint64_t length_of(const Period& period) {
  switch (period.unit) {
    case 'D':
      return period.number * day;
    case 'W':
      return period.number * 7 * day;
    case 'M':
      return period.number * 30 * day;
    case 'Y':
      return period.number * 365 * day;
    default:
      return std::max<std::uint64_t>(1, period.seconds());
  }
}

}  // namespace

// What the agents of an entry have answered.
struct Fit::Look {
  LogCollection entry;
  std::int64_t began = 0;
  std::size_t next = 0;
  std::size_t left = 0;
  std::uint64_t answers = 0;
  std::uint64_t values = 0;
  std::uint64_t full = never;  // the disk, in days
  std::vector<std::function<void()>> waiting{};
  std::vector<std::pair<std::int64_t, std::string>> late{};  // of those that cannot make it: how long they took

  [[nodiscard]] bool ended() const { return left == 0 && next == entry.targets->size(); }
  [[nodiscard]] bool fits() const { return ended() && late.empty() && full == never; }
  [[nodiscard]] std::uint64_t interval() const { return length_of(entry.settings.interval); }
  [[nodiscard]] std::uint64_t a_day(std::uint64_t once) const { return once * day / interval(); }
};

class Fit::Probe final : public ValueReceiver {
 public:
  Probe(Fit& fit, std::shared_ptr<Look> look, std::string name, std::uint32_t operations)
      : fit_(fit),
        look_(std::move(look)),
        name_(std::move(name)),
        began_(fit.tools_.clock.passed()),
        left_(operations) {}

  void reading(const Reading&) override { ++look_->answers; }
  bool take(std::size_t, NodePtr node) override {
    if (code_of(node.get()) == OX_OK) ++look_->values;
    return true;
  }
  bool refuse(std::size_t, const Oid&, OX_RESULT code) override {
    silent_ = silent_ || code == OX_ENOANSWER;
    return true;
  }
  void done(const std::vector<std::size_t>&, OX_RESULT) override {
    if (--left_ != 0) return;
    const std::int64_t took = fit_.tools_.clock.passed() - began_;
    const auto interval = static_cast<std::int64_t>(look_->interval() * 1000);
    if (silent_) {
      look_->late.emplace_back(INT64_MAX, name_ + " silent");
    } else if (took > interval) {
      look_->late.emplace_back(took, name_ + ' ' + std::to_string(took) + " ms of " + std::to_string(interval) + " ms");
    }
    --look_->left;
    fit_.go_on(look_);
  }

 private:
  Fit& fit_;
  std::shared_ptr<Look> look_;
  std::string name_;
  std::int64_t began_;
  std::uint32_t left_;
  bool silent_ = false;
};

std::shared_ptr<Fit::Look> Fit::start(const ComponentName& name) {
  const auto look = std::make_shared<Look>();
  look->entry.name = name;
  look->began = tools_.clock.passed();
  const Values* const values = tools_.store.values(name);
  if (values == nullptr || read_log_entry(*values, look->entry.settings) != OX_OK) return nullptr;
  look->entry.names = read_collected_names(look->entry.settings.names, false);
  if (!look->entry.names || !find_targets(tools_, look->entry)) return nullptr;
  ask_on(look);
  return look;
}

// What does not fit is not kept: it may have been mended.
void Fit::go_on(const std::shared_ptr<Look>& look) {
  if (!look->ended()) return;
  std::sort(look->late.rbegin(), look->late.rend());
  look->full = days_until_full(*look);
  asio::post(tools_.loop, [this, look] {
    for (const auto& ready : std::exchange(look->waiting, {})) ready();
    const auto kept_look = looks_.find(look->entry.name);
    if (!look->fits() && kept_look != looks_.end() && kept_look->second == look) looks_.erase(kept_look);
  });
}

void Fit::ask_on(const std::shared_ptr<Look>& look) {
  const CollectedNames& names = *look->entry.names;
  const std::size_t end = std::min(look->next + at_once, look->entry.targets->size());
  for (; look->next < end; ++look->next) {
    const LogTarget& target = *(*look->entry.targets)[look->next];
    Agent agent;
    if (names.slots() == 0 || agent_of(tools_.store, target.name, tools_.settings, agent) != OX_OK) continue;
    const std::uint32_t operations = (names.instance_question ? 1 : 0) + (names.columns.empty() ? 0 : 1);
    const auto probe = std::make_shared<Probe>(*this, look, target.text, operations);
    ++look->left;
    if (names.instance_question) tools_.asker.get(agent, names.instance_question, probe);
    if (!names.columns.empty()) tools_.asker.walk(agent, names.column_question, 0, probe);
  }
  if (look->next == look->entry.targets->size()) return go_on(look);
  asio::post(tools_.loop, [this, look] { ask_on(look); });
}

// Of what is left until collection pauses. What expires makes room again.
std::uint64_t Fit::days_until_full(const Look& look) const {
  const auto space = tools_.disk_space();
  const double a_day = static_cast<double>(look.a_day(look.values)) * bytes_of_value;
  if (space.capacity == 0 || a_day < 1) return never;
  const double kept_free = std::max(0.0, 1 - tools_.settings.disk_pause / 100.0) * static_cast<double>(space.capacity);
  const double room = static_cast<double>(space.available) - kept_free;
  const double full = std::max(0.0, room) / a_day;
  const double expiry =
      static_cast<double>(length_of(look.entry.settings.expire) + length_of(look.entry.settings.rotate));
  return full * static_cast<double>(day) > expiry ? never : static_cast<std::uint64_t>(full);
}

bool Fit::wait(const FigureQuestion& question, std::function<void()> ready) {
  if (!is_under(question.top, fit_path)) return false;
  std::shared_ptr<Look>& look = looks_[question.component];
  const bool old = look && look->fits() && tools_.clock.passed() - look->began > kept;
  if (look && look->fits() && !old) return false;
  if (!look || old) look = start(question.component);
  if (!look) {
    looks_.erase(question.component);
    return false;
  }
  look->waiting.push_back(std::move(ready));
  return true;
}

void Fit::add(const FigureQuestion& question, std::vector<Figure>& found) const {
  if (!is_under(question.top, fit_path)) return;
  const auto known = looks_.find(question.component);
  if (known == looks_.end()) return found.push_back({path_of(state), TypedNumber{OX_INTEGER, 0}});
  const Look& look = *known->second;
  const FitState result = !look.ended() ? FitState::asking : look.fits() ? FitState::fits : FitState::does_not_fit;
  found.push_back({path_of(state), TypedNumber{OX_INTEGER, static_cast<std::uint32_t>(result)}});
  found.push_back({path_of(requests), look.a_day(look.answers)});
  found.push_back(
      {path_of(bytes), static_cast<std::uint64_t>(static_cast<double>(look.a_day(look.values)) * bytes_of_value)});
  found.push_back({path_of(days), look.full});
  std::uint32_t number = 0;
  for (const auto& [took, text] : look.late) found.push_back({path_of(agents, ++number), text});
  found.push_back({path_of(values), look.a_day(look.values)});
}

}  // namespace ox::manager
