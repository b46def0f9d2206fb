// Programs that this process starts, without a shell, and what it is itself asked by.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"

namespace ox::platform {

// The signal that asks a daemon to read its settings again; 0 where the system has none.
extern const int reload_signal;

// Whether a program is given its command line as it stands, and takes it apart itself.
extern const bool takes_line_as_it_is;

struct ProgramSetting {
  std::vector<std::string> variables{};  // "NAME=value", in place of this process's own of the same names
  std::string output_file{};             // its output and errors are appended to it
  std::size_t kept_output = 0;           // so many bytes of them are kept for output(), what is more is dropped
  bool keeps_end = false;                // of the output; else the beginning
  std::string folder{};                  // where it works; this process's own without
  std::string rest_of_line{};            // Windows: stands as it is behind the arguments on its command line
  bool outlives = false;                 // runs on when its owner ends, instead of being killed; and what it has
                                         // started runs on when it ends
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
  void kill_without_waiting();
  [[nodiscard]] std::uint32_t id() const noexcept;  // 0: none
  // With the id, no other process of this machine ever has it.
  [[nodiscard]] std::uint64_t started() const noexcept;
  // What is kept of what it has written until now.
  [[nodiscard]] const std::string& output() const noexcept { return output_; }

 private:
  struct Process;
  void begin(std::unique_ptr<Process> process, const ProgramSetting& setting);
  void take_output();
  void keep(std::string_view written);

  std::unique_ptr<Process> process_;  // while it runs
  std::string output_;
  std::size_t kept_output_ = 0;
  bool keeps_end_ = false;
  int status_ = -1;
};

// For a daemon, whose programs run with its rights: takes from this process's environment what says nothing of the
// machine, the account, the language or the installation, so that whoever has started the daemon does not choose what
// its programs load and do. Before there are threads.
void clean_environment();

// A variable that all programs have which this process starts from now on.
void give_programs(const char* name, const std::string& value);

// A program of an owner that was killed.
struct LeftOver {
  std::uint32_t id = 0;  // 0: not known any more
  std::uint64_t started = 0;
  std::string mark{};     // one of its variables, "NAME=value", that no other program has
  bool is_owner = false;  // not a program that is left, but the one that was killed, whose programs are meant
};
// Kills those that are still there, and what they have started; whether there were any. They are known on Linux by
// their groups and marks, on Windows by the processes that started them.
bool end_left_over(const std::vector<LeftOver>& programs);

// Where the program that runs here stands.
[[nodiscard]] std::string own_program_folder();

}  // namespace ox::platform
