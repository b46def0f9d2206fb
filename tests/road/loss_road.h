// A real manager that goes and comes back, and tools beside it.
#pragma once

#include <string>
#include <thread>

#include "tests/road/daemon.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {

class LossRoad : public testing::Test {
 protected:
  void lose_manager(bool by_force) {
    if (by_force) return daemon.kill();
    EXPECT_EQ(0, daemon.end()) << daemon.log();
  }
  static std::string memo(int number) { return "memo" + std::to_string(number) + "."; }
  static void send(int number) {
    const std::string sent = run("oxevent send --memo " + memo(number));
    EXPECT_EQ(0u, sent.find("0 ")) << sent;
  }
  static int times(const std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
  }
  struct Started {
    std::string output = system_root() + "/out" + std::to_string(++started);
    ChildProcess process;
    static inline int started = 0;

    explicit Started(const std::string& line) : process(start_program(words_of(line), output)) {}
    // What it prints, when that text is there `number` times.
    std::string until(const std::string& text, int number = 1) const {
      for (int i = 0; i < 6000 && times(read_text(output), text) < number; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
      return read_text(output);
    }
  };

  Daemon daemon;
};

}  // namespace ox::test
