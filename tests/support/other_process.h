// A part of a test that runs in a process of its own, of the same program and in the same system root. The two take
// turns: each waits for the other's signal.
#pragma once

#include "platform/named_event.h"
#include "tests/support/program.h"

namespace ox::test {

// This program's path, as it was started.
[[nodiscard]] std::string& own_program();

class OtherProcess {
 public:
  // Its result is the process's exit status, 0 for success. It begins when it is first signalled.
  using Part = int (*)(OtherProcess& owner);

  // The test's side: starts the one of that name with a text for it.
  explicit OtherProcess(const std::string& part, const std::string& text = "-");

  // Starts it as a process without turns, which begins at once.
  static Program start(const std::string& part, const std::string& text);
  // What all of them have printed.
  [[nodiscard]] static std::string log();

  [[nodiscard]] bool wait();
  void signal() { theirs_.set(); }
  [[nodiscard]] int result() { return process_.wait(std::chrono::seconds(20)); }
  [[nodiscard]] const std::string& text() const { return text_; }

  // Declares a part: static const bool ... = OtherProcess::declare("name", function);
  static bool declare(const char* name, Part part);
  // The process's own part, where it was started as one; false otherwise.
  static bool run(int argc, char** argv, int& status);

 private:
  OtherProcess() = default;
  platform::NamedEvent ours_;
  platform::NamedEvent theirs_;
  std::string text_;
  Program process_;
};

}  // namespace ox::test
