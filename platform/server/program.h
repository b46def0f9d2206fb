// Programs that this process starts, without a shell, and what it is itself asked by. For the manager and the tests.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/error.h"

namespace ox::platform {

// The signal that asks a daemon to read its settings again; 0 where the system has none.
extern const int reload_signal;

struct ProgramSetting {
  std::vector<std::string> variables{};  // "NAME=value", in place of this process's own of the same names
  std::string output_file{};             // its output and errors are appended to it
  std::size_t kept_output = 0;           // so many bytes of them are kept for output(), what is more is dropped
  bool outlives = false;                 // runs on when its owner ends, instead of being killed
  bool in_console = false;               // Windows: on this process's console, where it can be asked to end
};

// A program and all that it starts: a process group on Linux, a job on Windows.
class Program {
 public:
  Program() noexcept;  // none
  Program(Program&&) noexcept;
  Program& operator=(Program&&) noexcept;
  ~Program();

  // Starts the program arguments[0], looked for where the system looks for programs. It has no input, and of this
  // process's files at most the two it writes its output and errors to, where the setting names nothing else for them.
  [[nodiscard]] Error start(const std::vector<std::string>& arguments, const ProgramSetting& setting);
  // Also takes what it has written: who keeps its output and asks for nothing makes it wait in the end.
  [[nodiscard]] bool running();
  // Waits for its end; the exit status, 128 + signal on Linux where one ended it, -1 when the time is over.
  int wait(std::chrono::milliseconds limit);
  // By SIGTERM; on Windows by Ctrl+C, which all get that are on this process's console, and this process passes over.
  void ask_to_end();
  // Ends it without asking, and with it what it has started. Does nothing when it has ended.
  void kill();
  [[nodiscard]] std::uint32_t id() const noexcept;  // 0: none
  // The beginning of what it has written until now.
  [[nodiscard]] const std::string& output() const noexcept { return output_; }

 private:
  struct Process;
  void take_output();

  std::unique_ptr<Process> process_;  // while it runs
  std::string output_;
  std::size_t kept_output_ = 0;
  int status_ = -1;
};

}  // namespace ox::platform
