#include "manager/storage/connection.h"

#include <sqlite3.h>

#include <array>
#include <new>

#include "manager/base/checksum.h"
#include "manager/storage/sole_user.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

std::uint32_t add_number(std::uint64_t number, std::uint32_t sum) {
  std::array<std::byte, 8> bytes{};
  for (int i = 7; i >= 0; --i, number >>= 8) bytes[static_cast<std::size_t>(i)] = static_cast<std::byte>(number);
  return crc32(bytes, sum);
}

std::uint32_t add_value(sqlite3_value* value, std::uint32_t sum) {
  const int type = sqlite3_value_type(value);
  const auto kind = static_cast<std::byte>(type);
  sum = crc32(std::span(&kind, 1), sum);
  if (type == SQLITE_INTEGER) return add_number(static_cast<std::uint64_t>(sqlite3_value_int64(value)), sum);
  const auto* const first = static_cast<const std::byte*>(sqlite3_value_blob(value));
  const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
  return crc32({first, size}, add_number(size, sum));
}

// row_sum(...) in statements: the checksum of a row's columns.
void row_sum(sqlite3_context* context, int count, sqlite3_value** values) {
  std::uint32_t sum = 0;
  for (int i = 0; i < count; ++i) sum = add_value(values[i], sum);
  sqlite3_result_int64(context, sum);
}

}  // namespace

void Connection::close() {
  while (sqlite3_stmt* const left = database_ == nullptr ? nullptr : sqlite3_next_stmt(database_, nullptr)) {
    (void)sqlite3_finalize(left);
  }
  (void)sqlite3_close(std::exchange(database_, nullptr));
  ++opened_;
}

Outcome Connection::outcome_of(int state) {
  switch (state & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return Outcome::done;
    case SQLITE_NOMEM:
      throw std::bad_alloc();
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:  // a table that is not there
    case SQLITE_FORMAT:
      return Outcome::damaged;
    default:
      return state == SQLITE_IOERR_SHORT_READ || state == SQLITE_IOERR_READ ? Outcome::damaged : Outcome::refused;
  }
}

// The loop never waits: what would be checkpointed at a commit, or at the end, has a thread of its own.
Outcome Connection::open(const std::string& file, Durability durability) {
  sqlite3* opened = nullptr;
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
  const int state = sqlite3_open_v2(platform::utf8_path(file.c_str()).c_str(), &opened, flags, sole_user_files());
  close();
  database_ = opened;
  if (state != SQLITE_OK) return outcome_of(state);
  (void)sqlite3_extended_result_codes(opened, 1);
  (void)sqlite3_busy_timeout(opened, 0);
  (void)sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  (void)sqlite3_create_function_v2(opened, "row_sum", -1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, &row_sum,
                                   nullptr, nullptr, nullptr);
  const Outcome set =
      run("PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY; PRAGMA cache_spill = OFF; PRAGMA "
          "wal_autocheckpoint = 0");
  if (set != Outcome::done) return set;
  return run(durability == Durability::power ? "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL"
                                             : "PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
}

Outcome Connection::run(const char* statements) {
  return outcome_of(sqlite3_exec(database_, statements, nullptr, nullptr, nullptr));
}

std::uint64_t Connection::ask(const char* statement) {
  std::uint64_t number = 0;
  (void)Statement(*this, statement).begin().rows([&](const Row& row) {
    number = row.number(0);
    return false;
  });
  return number;
}

std::string Connection::fault() const { return database_ != nullptr ? sqlite3_errmsg(database_) : "cannot be opened"; }

bool Connection::is_locked() const {
  return database_ != nullptr && (sqlite3_errcode(database_) & 0xFF) == SQLITE_BUSY;
}

std::uint64_t Row::number(int column) const {
  return static_cast<std::uint64_t>(sqlite3_column_int64(statement_, column));
}

std::span<const std::byte> Row::bytes(int column) const {
  const auto* const first = static_cast<const std::byte*>(sqlite3_column_blob(statement_, column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
  if (first == nullptr && sqlite3_errcode(sqlite3_db_handle(statement_)) == SQLITE_NOMEM) throw std::bad_alloc();
  return {first, first == nullptr ? 0 : size};
}

std::string Row::text(int column) const {
  const auto all = bytes(column);
  return {reinterpret_cast<const char*>(all.data()), all.size()};
}

Statement::~Statement() {
  if (connection_.is_open() && made_in_ == connection_.opened_) (void)sqlite3_finalize(statement_);
}

Statement& Statement::begin() {
  bound_ = 0;
  if (statement_ != nullptr && made_in_ == connection_.opened_) return *this;
  statement_ = nullptr;
  made_in_ = connection_.opened_;
  const int state =
      sqlite3_prepare_v3(connection_.get(), text_.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
  if (state == SQLITE_NOMEM) throw std::bad_alloc();
  return *this;
}

Statement& Statement::with(std::uint64_t number) {
  (void)sqlite3_bind_int64(statement_, ++bound_, static_cast<sqlite3_int64>(number));
  return *this;
}

Statement& Statement::with(std::string_view text) {
  (void)sqlite3_bind_text64(statement_, ++bound_, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
  return *this;
}

Statement& Statement::with(std::span<const std::byte> bytes) {
  static const std::byte nothing{};  // no address at all would be no value
  const void* const first = bytes.empty() ? &nothing : bytes.data();
  (void)sqlite3_bind_blob64(statement_, ++bound_, first, bytes.size(), SQLITE_STATIC);
  return *this;
}

Statement& Statement::with(const Row& row, int column) {
  (void)sqlite3_bind_value(statement_, ++bound_, sqlite3_column_value(row.statement_, column));
  return *this;
}

bool Statement::step() {
  if (statement_ != nullptr) {
    state_ = sqlite3_step(statement_);
  } else {
    state_ = connection_.is_open() ? sqlite3_errcode(connection_.get()) : SQLITE_CANTOPEN;
  }
  return state_ == SQLITE_ROW;
}

void Statement::reset() noexcept { (void)sqlite3_reset(statement_); }

}  // namespace ox::manager
