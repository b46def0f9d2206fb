// What became of the times at which entries were due.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace ox::manager {

enum class RunFate : std::uint32_t {
  running = 0,
  ran = 1,
  late = 2,  // ran, and was started some seconds after it was due
  missed = 3,
  refused = 4,
  failed = 5,  // could not be started
  killed = 6,
  lost = 7,  // the manager died while it ran
};

// One record for each due time; of many that were missed at the same distance, one for all.
struct Run {
  std::uint64_t key = 0;    // the entry's number, and the run's, of 32 bits
  std::uint32_t due = 0;    // seconds since 1970
  std::uint32_t last = 0;   // the last one that it stands for
  std::uint64_t count = 1;  // how many
  RunFate what = RunFate::running;
  std::uint64_t start = 0;  // milliseconds since 1970; 0: it was not started, it has not ended
  std::uint64_t end = 0;
  std::uint32_t status = 0;
  std::string command{};
  std::string output{};
  std::string reason{};

  [[nodiscard]] std::uint64_t entry() const { return key >> 32; }
  [[nodiscard]] static std::uint64_t key_of(std::uint64_t entry, std::uint64_t number) { return entry << 32 | number; }
};

// What is known of an entry beside its attributes. The entry 0 stands for none: its `next` is behind all numbers that
// entries ever had.
struct RunState {
  std::string name{};                       // empty: deleted, and its runs are to go
  static constexpr char lost_name[] = "?";  // who has its number is the one
  std::uint32_t told = 0;                   // the time up to which all that was due has its record
  enum Side : std::uint32_t { none = 0, open = 1, closed = 2 };
  std::uint32_t side = none;  // of its schedule's ranges: what was done last
  std::uint64_t first = 1;    // the numbers of its runs
  std::uint64_t next = 1;
  std::uint32_t last_start = 0;
  std::uint32_t last_status = 0;
  std::uint32_t failed = 0;  // the last run, or what was due, did not go well
  std::string last_error{};
};

// A program that runs, as the next manager finds it.
struct RunningProgram {
  std::uint32_t process = 0;  // 0: it is just being started
  std::uint64_t started = 0;
  std::string mark{};  // a variable that it alone has
};

// Where they are written. What is put is committed at the end of the event loop's turn; when it cannot be, it is kept
// and tried again.
class RunBook {
 public:
  RunBook() = default;
  RunBook(const RunBook&) = delete;
  RunBook& operator=(const RunBook&) = delete;
  virtual ~RunBook() = default;

  virtual void put(const Run& run) = 0;  // new, or in place of that with its key
  virtual void erase(std::uint64_t key) = 0;
  // All entries, by their numbers; who changes one says so.
  [[nodiscard]] std::map<std::uint64_t, RunState>& states() { return states_; }
  virtual void changed(std::uint64_t entry) = 0;
  virtual void put(std::uint64_t key, const RunningProgram& program) = 0;
  virtual void ended(std::uint64_t key) = 0;
  // At once; whether it is safe.
  [[nodiscard]] virtual bool commit() = 0;

  struct Window {
    std::uint32_t from = 0;  // due times; 0: no bound
    std::uint32_t to = 0;
    std::uint32_t count = 0;  // the newest so many; 0: all
  };
  // In the order of their numbers.
  [[nodiscard]] virtual std::vector<Run> read(std::uint64_t entry, const Window& window) = 0;
  virtual bool read(std::uint64_t key, Run& run) = 0;

 protected:
  std::map<std::uint64_t, RunState> states_;
};

}  // namespace ox::manager
