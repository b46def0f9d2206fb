#include "manager/storage/database.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <chrono>
#include <cstring>
#include <new>
#include <thread>

#include "manager/base/log.h"
#include "manager/base/paths.h"
#include "manager/storage/copy.h"
#include "manager/storage/salvage.h"
#include "manager/storage/write_ahead.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr std::uint64_t most_uncounted = 256;
constexpr int tries_of_locked = 50;
constexpr auto pause_of_locked = std::chrono::milliseconds(100);
constexpr int tries_of_replacing = 600;
constexpr std::chrono::milliseconds first_rest{100};
constexpr std::uint32_t most_doublings = 12;  // some seven minutes

std::uint64_t size_of(const std::string& path) {
  platform::FileAttributes attributes;
  return platform::file_attributes(path.c_str(), attributes) == platform::error_none ? attributes.size : 0;
}

}  // namespace

Query::Query(Database& database, Connection& connection, std::size_t table, std::string_view which)
    : database_(database),
      connection_(connection),
      table_(table),
      columns_(static_cast<int>(database.tables_[table].shape.columns.size())),
      statement_(connection, select_text(database.tables_[table].shape, which)) {}

Database::Database(std::string file, std::span<const Table> tables, Durability durability)
    : file_(std::move(file)), given_(tables), durability_(durability), checkpointer_(file_) {
  const auto add = [&](const Table& table) {
    tables_.push_back({table, {connection_, put_text(table)}, {connection_, erase_text(table)}});
  };
  std::for_each(tables.begin(), tables.end(), add);
  add(count_table);
}

Database::~Database() {
  wait_for_log();
  waiting_ = {};
  count_everything();
  close();
}

void Database::close() {
  wait_for_log();
  if (std::exchange(turning_, false)) hold(false);  // whoever closes it goes on from there
  checkpointer_.stop();
  check_.break_off();
  forget_counts();
  begun_ = false;  // the transaction ends with its connection
  connection_.close();
}

bool Database::refused(const std::string& what) {
  tell(what);
  return false;
}

std::vector<Table> Database::shapes() const {
  std::vector<Table> all;
  for (const OpenTable& table : tables_) all.push_back(table.shape);
  return all;
}

// A new file is made under another name: one without bytes has lost them. A manager that died while it renewed the file
// has left a whole one, or the old one in its place.
Outcome Database::open(FaultSink faults) {
  faults_ = std::move(faults);
  const std::string making = file_ + ".making";
  const std::string renewed = file_ + ".new";
  remove_database(making);
  std::string ready;
  if (exists(file_)) {
    remove_database(renewed);
  } else if (exists(renewed)) {
    ready = renewed;
  } else if (!exists(file_ + "-wal")) {
    if (!make_database(making, shapes())) {
      (void)refused("cannot be made");
      return Outcome::refused;
    }
    ready = making;
  }
  if (!ready.empty() && !put_in_place(ready)) return Outcome::refused;
  const Outcome outcome = open_file();
  if (outcome == Outcome::refused)
    (void)refused("cannot be opened: " + connection_.fault() + (connection_.is_locked() ? " by another program" : ""));
  return outcome;
}

// What stood there is kept under the dated name.
bool Database::put_in_place(const std::string& made) {
  std::string name;
  return replace_database(file_, made, name) || refused("a new one cannot be put in place");
}

// A check or a tool may be reading it.
Outcome Database::open_when_free() {
  Outcome opened = connection_.open(file_, durability_);
  for (int i = 0; i < tries_of_locked && opened == Outcome::refused && connection_.is_locked(); ++i) {
    std::this_thread::sleep_for(pause_of_locked);
    opened = connection_.open(file_, durability_);
  }
  return opened;
}

// A log without its database belongs to one that is gone.
Outcome Database::open_file() {
  if (size_of(file_) == 0) return Outcome::damaged;
  if (!log_is_whole(file_)) {
    (void)refused("the log has lost changes that were committed");
    return Outcome::damaged;
  }
  if (const Outcome opened = open_when_free(); opened != Outcome::done) return opened;
  (void)sqlite3_wal_hook(connection_.get(), &Database::grown, this);
  (void)sqlite3_update_hook(connection_.get(), &Database::count_change, this);
  return check_tables();
}

Outcome Database::check_tables() {
  if (schema_of(connection_) != expected_schema(shapes())) return Outcome::damaged;
  std::size_t counts = 0;
  const int sound = static_cast<int>(count_columns.size());
  Statement read(connection_, select_text(count_table, "ORDER BY id"));
  const Outcome outcome = read.begin().rows([&](const Row& row) {
    const std::uint64_t id = row.number(0);
    if (row.number(sound) == 0 || id != counts || id + 1 >= tables_.size()) return false;
    tables_[counts].kept = {row.number(2), row.number(3)};
    ++counts;
    return true;
  });
  if (outcome != Outcome::done) return outcome;
  return counts + 1 == tables_.size() ? count_newest() : Outcome::damaged;
}

Outcome Database::count_newest() {
  for (OpenTable& table : tables_) {
    Statement newest(connection_, newest_text(table.shape));
    const Outcome outcome = newest.begin().with(table.kept.up_to).rows([&](const Row& row) {
      table.rows = table.kept.rows + row.number(0);
      table.last_key = std::max(table.kept.up_to, row.number(1));
      return true;
    });
    if (outcome != Outcome::done) return outcome;
  }
  return Outcome::done;
}

void Database::renew(const Renewed& done, const Mend& mend) {
  if (renewing_ || rests()) return;
  hold(true);
  close();
  damaged_ = false;
  renewing_ = true;
  const auto work = [this, mend](const std::atomic<bool>& ending) {
    return salvage(file_, file_ + ".new", shapes(), mend, ending);
  };
  if (loop_ == nullptr) return take_renewed(work(false), done);
  on_renewing_();
  const auto saved = std::make_shared<Salvaged>();
  beside_.start(
      *loop_, [work, saved](const std::atomic<bool>& ending) { *saved = work(ending); },
      [this, saved, done] { take_renewed(*saved, done); });
}

void Database::take_renewed(const Salvaged& saved, const Renewed& done) {
  if (saved) return replace(told_of(*saved), done, loop_ != nullptr ? tries_of_replacing : 0);
  tell("is damaged, and a new one cannot be written");
  (void)open_file();  // what reads is to be had meanwhile
  end_renewal(false, done);
}

// Where a file that somebody reads cannot be renamed, its end is waited for.
void Database::replace(const std::string& told, const Renewed& done, int tries) {
  std::string name;
  if (replace_database(file_, file_ + ".new", name)) {
    tell("was damaged: it is kept as " + name + ", and of its rows a new one has" + told);
    told_.clear();
    return end_renewal(open_file() == Outcome::done || refused("cannot be opened: " + connection_.fault()), done);
  }
  if (tries == 0) return end_renewal(refused("is damaged, and cannot be set aside"), done);
  again_ = std::make_unique<asio::steady_timer>(*loop_, pause_of_locked);
  again_->async_wait([this, told, done, tries](const asio::error_code& error) {
    if (!error) replace(told, done, tries - 1);
  });
}

void Database::end_renewal(bool renewed, const Renewed& done) {
  renewing_ = false;
  if (!renewed) {
    rest();
  } else {
    failed_ = 0;
    ++renewed_;
  }
  done(renewed);
  hold(false);
}

void Database::hold(bool on) {
  holds_ += on ? 1 : -1;
  if (waiting_ && holds_ == (on ? 1 : 0)) waiting_(on);
}

void Database::rest() {
  const auto pause = first_rest * (1u << std::min(failed_, most_doublings));
  rests_until_ = std::chrono::steady_clock::now() + pause;
  if (++failed_ == 1) return;
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(pause).count();
  tell("could not be renewed " + std::to_string(failed_) + " times; it is not tried again for " +
       std::to_string(seconds) + " s; next: make room and see that its folder can be written");
}

std::string Database::told_of(const std::vector<Saved>& saved) const {
  std::string text;
  for (std::size_t i = 0; i < saved.size(); ++i) {
    const Saved& table = saved[i];
    const std::uint64_t expected = std::max(table.expected.value_or(0), tables_[i].rows);
    const bool known = table.expected || expected != 0;
    text += (i == 0 ? " " : ", ") + std::to_string(table.rows) + " of " +
            (known ? std::to_string(expected) : "an unknown number of") + ' ' + std::string(tables_[i].shape.name);
  }
  return text;
}

void Database::check(asio::io_context& loop, const std::function<void()>& damaged) {
  asking_ = std::make_unique<asio::steady_timer>(loop);
  check_.start(file_, given_, [this, &loop, damaged, renewed = renewed_](const std::string& fault) {
    asio::post(loop, [this, damaged, renewed, fault] {
      if (renewed_ == renewed) log(Severity::error, file_ + " is damaged: " + fault);
      ask_for_renewal(damaged, renewed);
    });
  });
}

// Until there has been one: nobody else need come upon this damage soon.
void Database::ask_for_renewal(const std::function<void()>& damaged, std::uint32_t renewed) {
  if (renewed_ != renewed) return;
  if (!is_away()) damaged();
  asking_->expires_at(std::max(rests_until_, std::chrono::steady_clock::now() + pause_of_locked));
  asking_->async_wait([this, damaged, renewed](const asio::error_code& error) {
    if (!error) ask_for_renewal(damaged, renewed);
  });
}

void Database::begin() {
  if (begun_) return;
  wait_for_log();
  begun_ = true;
  const Outcome outcome = begin_.begin().run();
  sound_ = outcome == Outcome::done;
  damaged_ = damaged_ || outcome == Outcome::damaged;
}

bool Database::OpenTable::is_due() const { return old_change != 0 || now().rows - kept.rows > most_uncounted; }

void Database::put_counts() {
  for (std::size_t i = 0; i + 1 < tables_.size(); ++i) {
    const OpenTable& table = tables_[i];
    const RowCount count = table.now();
    if (table.is_due()) put(tables_.size() - 1, i, table.shape.name, count.up_to, count.rows);
  }
}

void Database::take_counts() {
  for (OpenTable& table : tables_) {
    if (table.is_due()) table.kept = table.now();
    table.rows = table.now().rows;
  }
}

void Database::forget_counts() {
  for (OpenTable& table : tables_) table.change = table.old_change = 0;
}

// Before an orderly end: what is there then must be there again. Where it cannot be, the end was none.
void Database::count_everything() noexcept {
  if (!connection_.is_open() || begun_ || damaged_) return;
  for (OpenTable& table : tables_) table.old_change = table.rows != table.kept.rows ? 1 : 0;
  try {
    begin();
    (void)end();
  } catch (const std::bad_alloc&) {
  }
}

bool Database::end() {
  put_counts();
  change([this] { return end_.begin().run(); });
  return sound_;
}

bool Database::commit(bool ready) {
  if (!begun_) return ready;
  bool safe = false;
  try {
    safe = ready && sound_ && end();
  } catch (const std::bad_alloc&) {  // as if the disk had refused
  }
  begun_ = false;
  if (safe) {
    take_counts();
    if (std::exchange(refusing_, false)) tell("takes changes again");
  } else if (!renewing_) {
    tell_refused(ready ? connection_.fault() : "what they need cannot be written");
    (void)sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  forget_counts();
  if (std::exchange(turn_is_due_, false)) turn_log();
  return safe;
}

// The thread of the checkpoints has left little. Without memory the log grows on, and its turn comes again.
void Database::turn_log() noexcept {
  try {
    if (loop_ == nullptr) return Checkpointer::begin_anew(connection_);
    turning_ = true;
    beside_.start(
        *loop_, [this](const std::atomic<bool>&) { Checkpointer::begin_anew(connection_); }, [this] { take_back(); });
    hold(true);
  } catch (const std::bad_alloc&) {
    turning_ = false;
  }
}

void Database::take_back() {
  turning_ = false;
  if (back_) back_();
  hold(false);
}

// A row as it is already.
bool Database::takes_changes() {
  if (begun_) return true;
  const OpenTable& first = tables_.front();
  put(tables_.size() - 1, 0, first.shape.name, first.kept.up_to, first.kept.rows);
  return commit();
}

// Once until it takes changes again: every sender hears of it, too.
void Database::tell_refused(const std::string& why) {
  try {
    if (!refusing_) tell("takes no changes: " + why);
    refusing_ = true;
  } catch (const std::bad_alloc&) {  // the next time
  }
}

void Database::tell_damaged(std::size_t table, std::uint64_t key) {
  if (!told_.emplace(table, key).second) return;
  tell("row " + std::to_string(key) + " of " + std::string(tables_[table].shape.name) + " is damaged");
}

void Database::tell_damaged(const std::string& what) {
  if (told_.emplace(tables_.size(), 0).second) tell("is damaged: " + what);
}

// Every row that is inserted or deleted passes here.
void Database::count_change(void* self, int kind, const char*, const char* name, long long signed_key) {
  if (kind == SQLITE_UPDATE) return;
  const auto key = static_cast<std::uint64_t>(signed_key);
  const int change = kind == SQLITE_INSERT ? 1 : -1;
  for (OpenTable& table : static_cast<Database*>(self)->tables_) {
    if (table.shape.name != name) continue;
    table.change += change;
    if (key <= table.kept.up_to) table.old_change += change;
    table.last_key = std::max(table.last_key, key);
  }
}

// Of a commit; that with which the log begins anew is none of the owner's.
int Database::grown(void* self, sqlite3*, const char*, int pages) {
  auto& database = *static_cast<Database*>(self);
  if (!database.turning_ && database.checkpointer_.grown(pages)) database.turn_is_due_ = true;
  return SQLITE_OK;
}

}  // namespace ox::manager
