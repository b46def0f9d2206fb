// Programs that are started by a command line, told when they are ready, and asked to end through a window of theirs.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/program.h"

namespace ox::platform {

// The path of a program in a folder; for an empty one where programs of the installation are found: beside the library
// or this program, and where the system looks. On Linux "x.exe" is also the program "x". Empty: there is none.
[[nodiscard]] std::string program_in(const std::string& folder, std::string_view name);

// What stands behind the program on a command line: as it is, and taken apart. Windows programs get it as it is.
struct Line {
  std::string rest;
  std::vector<std::string> words;
};
// Starts the program of that path with normal priority, to run on when this process ends; its output goes to the end of
// a file, where one is named. It has been found and can run when this returns.
[[nodiscard]] Error start_line(Program& program, const std::string& path, const Line& line, const std::string& output);

// Waits until a program's windows wait for input, error_timeout. One without windows is ready at once, as is one that
// has ended.
[[nodiscard]] Error wait_for_input(const Program& program, std::uint32_t milliseconds);

// Ends a program by the message that closes a window of that name. Without the window a program is asked as the system
// asks programs to end: on Linux by SIGTERM, on Windows not at all.
void close_window(const char* name, Program& program);

// The window of this process that the message reaches. It is never shown.
class ClosableWindow {
 public:
  ClosableWindow();
  ~ClosableWindow();
  ClosableWindow(const ClosableWindow&) = delete;
  ClosableWindow& operator=(const ClosableWindow&) = delete;

  // For the calling thread.
  [[nodiscard]] Error open(const char* name);
  // Whether the message has come. From the window's thread.
  [[nodiscard]] bool is_asked();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ox::platform
