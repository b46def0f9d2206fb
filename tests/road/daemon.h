// The real programs in the test's system root.
#pragma once

#include <cstddef>

#include "tests/support/program.h"
#include "tests/support/texts.h"

namespace ox::test {

class Daemon {
 public:
  // Makes the installation, starts the daemon and returns when it serves. Throws std::runtime_error.
  Daemon();

  void start();
  void launch();  // does not wait until it serves
  void kill() { process_.kill(); }
  // By force, or in order.
  void lose(bool by_force) {
    if (by_force) return kill();
    EXPECT_EQ(0, end()) << log();
  }
  // Asks it to end; the exit status.
  int end();
  [[nodiscard]] int pid() const { return static_cast<int>(process_.id()); }
  // What it has logged since its last start.
  [[nodiscard]] std::string log() const;

 private:
  std::string log_file_;
  Program process_;
};

// A command line's words; one in single quotes may hold blanks.
[[nodiscard]] std::vector<std::string> words_of(const std::string& line);
// Starts one of the programs; what it prints goes to the file.
[[nodiscard]] Program start_program(std::vector<std::string> words, const std::string& output, bool hears = false);

// One of the programs beside the test.
struct Started {
  explicit Started(const std::string& line);
  // What it has printed when that text is there so often, or after a minute.
  [[nodiscard]] std::string until(const std::string& text, int times = 1) const;
  // All that it prints until its end, with that status.
  std::string end(int status = 0);

  std::string output;  // the file of what it prints
  Program process;
};

// Runs one of the programs to its end: its exit status, a blank, and all that it has printed.
[[nodiscard]] std::string run_program(std::vector<std::string> words);
[[nodiscard]] inline std::string run(const std::string& line) { return run_program(words_of(line)); }

// What a check has printed, without its notes: those are about the machine that the test runs on.
[[nodiscard]] std::string without_notes(std::string printed);

// A command line, and what it prints: the exit status and the whole output, or with a "~" in front a part of it.
struct Call {
  std::string line;
  std::string printed;
};
void expect(const std::vector<Call>& calls);
// Runs a line until it prints that, a minute at most.
void await(const std::string& line, const std::string& text);

// Waits until a file holds the text so often, a minute at most; what the file holds then.
std::string wait_for_text(const std::string& file, const std::string& text, int times = 1);

// A number from the environment, for longer runs.
[[nodiscard]] int number_from(const char* variable, int otherwise);

// What this process and that one hold of the system: files, handles, shared objects of this system root.
[[nodiscard]] std::vector<std::ptrdiff_t> held_by_this_and(int pid);

}  // namespace ox::test
