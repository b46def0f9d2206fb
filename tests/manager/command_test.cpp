// Command entries on a clock of the test's own, with programs that only seem to run: what is run when, and that every
// time that was due has one record, whatever happens.
#include <chrono>
#include <random>

#include <oxbase/oxc.h>

#include "manager/base/paths.h"
#include "manager/jobs/commands.h"
#include "tests/manager/virtual_clock.h"
#include "tests/support/other_process.h"
#include "tests/support/texts.h"

namespace ox::manager {
namespace {

constexpr char berlin[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr std::int64_t noon = 1'780'308'000;  // 2026-06-01 12:00:00 in Berlin

struct MemoryBook final : RunBook {
  struct Row {
    std::uint32_t due;
    std::uint32_t start;  // seconds
    std::uint32_t count;
    RunFate what;
    std::uint8_t size;  // of the command
  };
  void put(const Run& run) override {
    auto& of = rows[run.entry()];
    const std::size_t number = run.key & 0xFFFFFFFF;
    if (of.size() < number) of.resize(number);
    of[number - 1] = {run.due, static_cast<std::uint32_t>(run.start / 1000), static_cast<std::uint32_t>(run.count),
                      run.what, static_cast<std::uint8_t>(run.command.size())};
  }
  void erase(std::uint64_t) override { ++erased; }
  void changed(std::uint64_t) override {}
  void put(std::uint64_t key, const RunningProgram& program) override { running[key] = program; }
  void ended(std::uint64_t key) override { running.erase(key); }
  [[nodiscard]] bool commit() override { return takes; }
  [[nodiscard]] std::vector<Run> read(std::uint64_t, const Window&) override { return {}; }
  bool read(std::uint64_t key, Run& run) override {
    const Row& row = rows[key >> 32][static_cast<std::size_t>(key & 0xFFFFFFFF) - 1];
    run = {.key = key, .due = row.due, .count = row.count, .start = row.start * std::uint64_t{1000}};
    run.command.assign(row.size, 'x');
    return true;
  }

  std::map<std::uint64_t, std::vector<Row>> rows;
  std::map<std::uint64_t, RunningProgram> running;
  int erased = 0;
  bool takes = true;
};

// Each runs for the same time.
struct SeemingPrograms final : Programs {
  explicit SeemingPrograms(Clock& of) : Programs(of), clock(of), timer(of.timer()) {}
  [[nodiscard]] platform::Error start(const Order& order, Identity&, Done done) override {
    last = order;
    if (fails) return platform::error_access_denied;
    if (running.empty()) look(duration);
    running.emplace_back(clock.passed() + duration, std::move(done));
    return platform::error_none;
  }
  void look(std::int64_t in) {
    timer->wait(in, [this] {
      while (!running.empty() && running.front().first <= clock.passed()) {
        const Done done = std::move(running.front().second);
        running.erase(running.begin());
        done({.status = status});
      }
      if (!running.empty()) look(running.front().first - clock.passed());
    });
  }
  Clock& clock;
  std::unique_ptr<Timer> timer;
  std::vector<std::pair<std::int64_t, Done>> running;
  std::int64_t duration = 1;
  int status = 0;
  bool fails = false;
  Order last;
};

// A manager's part of it all; another may follow on the same book.
struct Jobs {
  Jobs(VirtualClock& clock, const Zone& zone, RunBook& book, Store& entries, const Settings& settings)
      : store(entries),
        scheduler(clock),
        programs(clock),
        commands({.scheduler = scheduler,
                  .programs = programs,
                  .store = store,
                  .zone = zone,
                  .settings = settings,
                  .book = book,
                  .warn = [this](const auto&, const auto&) { ++warnings; },
                  .commit =
                      [this](std::span<const Change> batch) {
                        for (const Change& change : batch) store.apply(change);
                        return OX_RESULT{OX_OK};
                      }}) {}

  void set(const std::string& name, const std::vector<std::pair<CommandAttribute, std::string>>& values) {
    const ComponentName component{"cmdEnt", name};
    const bool known = store.has(component);
    store.apply({.component = component});
    std::vector<Oid> paths;
    for (const auto& [attribute, text] : values) {
      const bool number = text.find_first_not_of("0123456789") == text.npos && !text.empty();
      paths.push_back(command_path(attribute));
      store.apply({.kind = Change::Kind::set,
                   .component = component,
                   .path = paths.back(),
                   .value = number ? number_value(static_cast<std::uint32_t>(std::stoul(text)))
                                   : Value{.type = OX_DISPLAYSTRING, .bytes = text + '\0'}});
    }
    commands.changed(component, known ? EntryChanges::What::set : EntryChanges::What::added, paths);
  }
  void load() {
    for (const ComponentName& name : store.matching({"cmdEnt", "*"})) {
      commands.changed(name, EntryChanges::What::loaded, {});
    }
  }

  Store& store;
  Scheduler scheduler;
  SeemingPrograms programs;
  int warnings = 0;
  Commands commands;
};

class CommandTest : public testing::Test {
 protected:
  using A = CommandAttribute;
  CommandTest() {
    const std::string program = test::own_program();
    const std::size_t slash = program.find_last_of("/\\");
    settings_.command_path = program.substr(0, slash);
    settings_.run_ledger_runs = 1'000'000;
    program_ = program.substr(slash + 1);
  }
  void begin(Zone& zone) { jobs_.emplace(clock_, zone, book_, store_, settings_); }
  void end() { jobs_.reset(); }

  std::string shown(std::uint32_t time) const {
    const oxcDate date = zone_.date(time);
    char text[32];
    (void)std::snprintf(text, sizeof text, "%02d:%02d:%02d", date.hour, date.minute, date.second);
    return text;
  }
  // "12:30:00 ran", in the order of the records.
  std::string records(const std::string& name) {
    static const char* const words[] = {"runs", "ran", "late", "missed", "refused", "failed", "killed", "lost"};
    std::string text;
    for (const auto& row : book_.rows[number_of(*store_.values({"cmdEnt", name}), A::id)]) {
      const std::string time = shown(row.due) + ' ';
      text += (text.empty() ? "" : "; ") + time + words[static_cast<int>(row.what)] + (is_other(row) ? " other" : "");
    }
    return text;
  }
  [[nodiscard]] bool is_other(const MemoryBook::Row& row) const { return row.size > program_.size(); }
  // The same program, by a name that is told apart.
  std::string other() const { return settings_.command_path + '/' + program_; }
  // "schedule=12:05:00 mode=3" of an armed entry that runs the program. OTHER is its other name.
  [[nodiscard]] std::vector<std::pair<A, std::string>> values(const std::string& words) const {
    static const std::map<std::string, A> names{{"schedule", A::schedule},  {"mode", A::mode},
                                                {"start", A::start_time},   {"interval", A::interval},
                                                {"admin", A::admin_status}, {"invalid", A::invalid_command},
                                                {"command", A::command},    {"argument", A::argument}};
    std::vector<std::pair<A, std::string>> all{{A::command, program_}, {A::admin_status, "1"}, {A::mode, "2"}};
    for (const std::string& word : test::split(words, ' ')) {
      if (word.empty()) continue;
      const std::size_t equals = word.find('=');
      const std::string value = word.substr(equals + 1);
      all.emplace_back(names.at(word.substr(0, equals)), value == "OTHER" ? other() : value);
    }
    return all;
  }

  Zone zone_{berlin};
  VirtualClock clock_{noon};
  Settings settings_;
  MemoryBook book_;
  Store store_;
  std::string program_;
  std::optional<Jobs> jobs_;
};

TEST_F(CommandTest, WhatRunsWhenAndWhatBecomesOfTheRest) {
  struct Row {
    const char* what;
    const char* values;
    const char* records;  // after two hours from noon, of which the manager is away from 12:20 to 12:40
    std::function<void()> before{};
  };
  const auto slow = [this] { jobs_->programs.duration = 600'000; };
  const Row rows[] = {
      {"single times", "schedule=12:10:00,12:30:00,13:00:00", "12:10:00 ran; 12:30:00 missed; 13:00:00 ran"},
      {"caught up", "schedule=12:30:00,12:35:00 mode=3", "12:30:00 missed; 12:35:00 late"},
      {"an interval", "start=1780308600 interval=900",  // 12:10:00
       "12:10:00 ran; 12:25:00 missed; 12:40:00 ran; 12:55:00 ran; 13:10:00 ran; 13:25:00 ran; 13:40:00 ran; 13:55:00 "
       "ran"},
      {"once, at once", "", "12:00:00 ran"},
      {"a range", "schedule=12:10:00-13:00:00 invalid=OTHER", "12:00:00 ran other; 12:10:00 ran; 13:00:00 ran other"},
      {"a range that opens unseen", "schedule=12:30:00-13:00:00", "12:30:00 late"},
      {"a range that closes unseen", "schedule=12:10:00-12:30:00 invalid=OTHER",
       "12:00:00 ran other; 12:10:00 ran; 12:30:00 late other"},
      {"often in a range", "schedule=12:50:00-13:20:00 interval=900", "12:50:00 ran; 13:05:00 ran"},
      {"not armed", "schedule=12:10:00 admin=0", ""},
      {"still running", "schedule=12:05:00,12:10:00,13:00:00 invalid=OTHER",
       "12:05:00 ran; 12:10:00 refused; 12:10:00 ran other; 13:00:00 ran", slow},
      {"beside itself", "schedule=12:05:00,12:06:00 mode=1", "12:05:00 ran; 12:06:00 ran", slow},
      {"put off", "schedule=12:01:00,12:02:00,12:03:00 mode=3", "12:01:00 ran; 12:02:00 refused; 12:03:00 killed",
       slow},
      {"no such program", "schedule=12:05:00 command=/bin/sh invalid=OTHER", "12:05:00 refused; 12:05:00 ran other"},
      {"not to be started", "schedule=12:05:00", "12:05:00 failed", [this] { jobs_->programs.fails = true; }},
      {"no room for its record", "schedule=12:05:00", "12:05:00 failed", [this] { book_.takes = false; }},
      {"too many", "schedule=12:05:00", "12:05:00 refused", [this] { settings_.jobs_at_once = 0; }},
      {"an open quote", "schedule=12:05:00 argument='a", "12:05:00 failed"},
  };
  for (const Row& row : rows) {
    if (platform::takes_line_as_it_is && row.what == std::string("an open quote")) continue;
    VirtualClock& clock = clock_;
    book_.rows.clear();
    book_.states().clear();
    store_ = Store();
    clock.set(noon - clock.wall() / 1000);
    begin(zone_);
    if (row.before) row.before();
    jobs_->set("e", values(row.values));
    clock.pass(1'200'000);
    jobs_->commands.end();
    end();
    clock.pass(1'200'000);
    begin(zone_);
    jobs_->load();
    clock.pass(4'800'000);
    EXPECT_EQ(row.records, records("e")) << row.what;
    end();
    settings_.jobs_at_once = 16;
    book_.takes = true;
  }
}

// At the same moments by the zone's own calendar, reckoned day by day.
std::vector<std::uint32_t> expected(const Zone& zone, const std::vector<int>& times, int year) {
  std::set<std::uint32_t> all;
  for (int day = 1; day <= 365; ++day) {
    for (const int time : times) all.insert(zone.seconds({year, 1, day, 0, 0, time, 0, 0}));
  }
  return {all.begin(), all.end()};
}

TEST_F(CommandTest, AYearOfAThousandSchedulesHasOneRecordForEachDueTime) {
  constexpr int year = 2026;
  constexpr int schedules = OX_SCHEDULES;
  Zone zones[] = {Zone(berlin), Zone("EST5EDT,M3.2.0,M11.1.0"), Zone("AEST-10AEDT,M10.1.0,M4.1.0/3")};
  const std::int64_t start = 1'767'139'200;  // 2025-12-31 00:00:00 UTC
  VirtualClock clock(start, 3'600'000);
  settings_.jobs_at_once = 1000;
  std::minstd_rand random(17);
  MemoryBook books[3];
  Store stores[3];
  std::vector<std::unique_ptr<Jobs>> all;
  std::map<std::string, std::vector<int>> times;
  for (int i = 0; i < 3; ++i) all.push_back(std::make_unique<Jobs>(clock, zones[i], books[i], stores[i], settings_));
  for (int i = 0; i < schedules; ++i) {
    const std::string name = std::to_string(i);
    std::string text;
    for (unsigned k = 0; k < 10; ++k) {
      const int time = static_cast<int>(random() % (k < 3 ? 4u * 3600 : 86'400u));  // some where the clocks change
      times[name].push_back(time);
      char one[16];
      (void)std::snprintf(one, sizeof one, "%02d:%02d:%02d", time / 3600, time / 60 % 60, time % 60);
      text += (k == 0 ? "" : ",") + std::string(one);
    }
    all[static_cast<std::size_t>(i % 3)]->set(
        name, {{A::command, program_},
               {A::schedule, text},
               {A::mode, "1"},
               {A::start_time, std::to_string(zones[i % 3].seconds({year, 1, 1, 0, 0, 0, 0, 0}))},
               {A::admin_status, "1"}});
  }
  const auto before = std::chrono::steady_clock::now();
  clock.pass_until(start + 368 * 86'400);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - before;
  std::size_t due = 0;
  for (int i = 0; i < schedules; ++i) {
    const auto zone = static_cast<std::size_t>(i % 3);
    std::vector<std::uint32_t> found;
    const std::uint32_t end = zones[zone].seconds({year + 1, 1, 1, 0, 0, 0, 0, 0});
    const std::string name = std::to_string(i);
    for (const auto& row : books[zone].rows[number_of(*stores[zone].values({"cmdEnt", name}), A::id)]) {
      if (row.due >= end) continue;
      found.push_back(row.due);
      ASSERT_TRUE(row.what == RunFate::ran && row.start == row.due) << name << ' ' << row.due;
    }
    ASSERT_EQ(expected(zones[zone], times[name], year), found) << name;
    due += found.size();
  }
  std::printf("%zu due times of a year in %.1f s\n", due, took.count());
}

// Whatever happens, every time that was due has exactly one record: it fires or explains.
TEST_F(CommandTest, FiresOrExplains) {
  const auto seed = static_cast<unsigned>(std::random_device()());
  SCOPED_TRACE(seed);
  std::minstd_rand random(seed);
  settings_.jobs_at_once = 4;
  const char* const schedules[] = {"12:00:30,13:00:00,*",
                                   "* * * * *",
                                   "08:00:00-17:30:00 1-5",
                                   "22:00:00-26:00:00",
                                   "02:30:00,02:30:00-03:10:00",
                                   "* * * * * ~0/6/2|0/6/3/*/11:00:00",
                                   "",
                                   "06:00:00 * 1,2,3"};
  struct Planned {
    Plan plan;
    bool invalid = false;
  };
  std::map<std::string, Planned> planned;
  begin(zone_);
  for (unsigned i = 0; i < 40; ++i) {
    const std::string name = std::to_string(i);
    std::string schedule = schedules[random() % std::size(schedules)];
    if (schedule.find(",*") != schedule.npos) schedule.resize(schedule.size() - 2);
    const std::uint32_t interval = random() % 2 == 0 ? 0 : 300 + static_cast<std::uint32_t>(random() % 20'000);
    const bool invalid = random() % 2 == 0;
    Plan& plan = planned[name].plan;
    planned[name].invalid = invalid;
    plan = {.period = {interval, 's'}, .from_opening = true, .start = noon + 1, .zone = &zone_};
    ASSERT_EQ(0u, read_schedule(schedule, plan.schedule));
    jobs_->set(name, {{A::command, random() % 8 != 0 ? program_ : std::string("none")},
                      {A::invalid_command, invalid ? other() : ""},
                      {A::schedule, schedule},
                      {A::start_time, std::to_string(plan.start)},
                      {A::interval, std::to_string(interval)},
                      {A::mode, std::to_string(1 + random() % 3)},
                      {A::admin_status, "1"}});
  }
  for (int step = 0; step < OX_STEPS; ++step) {
    jobs_->programs.duration = random() % 4 == 0 ? 1 : static_cast<std::int64_t>(random() % 3'000'000);
    jobs_->programs.status = static_cast<int>(random() % 2);
    clock_.pass(static_cast<std::int64_t>(random() % 7'200'000));
    if (random() % 10 == 0) clock_.set(static_cast<std::int64_t>(random() % 20'000));
    if (random() % 5 != 0) continue;
    const bool dies = random() % 2 == 0;
    if (!dies) jobs_->commands.end();
    end();
    clock_.pass(static_cast<std::int64_t>(random() % 50'000'000));
    begin(zone_);
    const auto left = book_.running;
    jobs_->commands.end_left_over(left);
    EXPECT_TRUE(book_.running.empty());
    jobs_->load();
  }
  clock_.pass(100'000);
  const std::uint32_t now = jobs_->scheduler.now();
  for (const auto& [name, one] : planned) {
    struct Found {
      int main = 0;
      int other = 0;
      int not_started = 0;
    };
    std::map<std::uint32_t, Found> all;
    for (const auto& row : book_.rows[number_of(*store_.values({"cmdEnt", name}), A::id)]) {
      for (std::uint32_t k = 0; k < row.count; ++k) {
        Found& found = all[row.due + k * one.plan.period.number];
        ++(is_other(row) ? found.other : found.main);
        if (!is_other(row) && (row.what == RunFate::refused || row.what == RunFate::failed)) ++found.not_started;
      }
    }
    for (auto moment = next_moment(one.plan, noon); moment && moment->time < now - 60;
         moment = next_moment(one.plan, moment->time)) {
      const bool closes = (moment->kinds & OXCMD_CLOSES) != 0;
      const bool starts = (moment->kinds & ~std::uint32_t{OXCMD_CLOSES}) != 0;
      if (!starts && !one.invalid) continue;
      const Found& found = all[moment->time];
      const int records = found.main + found.other;
      EXPECT_TRUE(records >= 1 && found.main <= 1 && records <= 1 + found.not_started + (closes && starts ? 1 : 0))
          << name << " at " << shown(moment->time) << ": " << found.main << " and " << found.other;
    }
  }
}

}  // namespace
}  // namespace ox::manager
