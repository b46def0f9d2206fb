// The programs that the manager starts: looked after until they end, without a thread and without a shell.
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "manager/base/clock.h"
#include "platform/program.h"

namespace ox::manager {

class Programs {
 public:
  struct Order {
    std::vector<std::string> arguments;  // the program and its own
    platform::ProgramSetting setting{};
    std::uint32_t limit = 0;  // seconds, then it is killed; 0: none
  };
  struct End {
    int status = 0;
    bool killed = false;  // since it had run for its limit
    std::string output{};
  };
  // As the database knows it.
  struct Identity {
    std::uint32_t process = 0;
    std::uint64_t started = 0;
  };
  using Done = std::function<void(const End&)>;

  explicit Programs(Clock& clock) : clock_(clock), timer_(clock.timer()) {}
  Programs(const Programs&) = delete;
  Programs& operator=(const Programs&) = delete;
  virtual ~Programs() = default;

  // `done` is called once, from the event loop; may be empty. When memory is lacking nothing has been started.
  [[nodiscard]] virtual platform::Error start(const Order& order, Identity& identity, Done done);

 private:
  struct Running {
    platform::Program program{};
    Done done{};
    std::int64_t until = 0;  // by what has passed; 0: no limit
    bool killed = false;
  };

  void look();
  void wait();

  Clock& clock_;
  std::list<std::unique_ptr<Running>> running_;
  std::unique_ptr<Timer> timer_;
};

}  // namespace ox::manager
