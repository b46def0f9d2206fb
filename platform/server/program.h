// Programs that this process starts and lets run, and what it is itself asked by. For the manager only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/error.h"

namespace ox::platform {

// The signal that asks a daemon to read its settings again; 0 where the system has none.
extern const int reload_signal;

class Program {
 public:
  Program() = default;  // none
  Program(Program&& other) noexcept;
  Program& operator=(Program&& other) noexcept;
  ~Program();  // it runs on

  // Starts the program arguments[0], looked for where the system looks for programs, in this process's environment with
  // `variables`, "NAME=value", in place of those of the same names. It has no input, and of this process's files at
  // most the two it writes its output and errors to.
  [[nodiscard]] Error start(const std::vector<std::string>& arguments, const std::vector<std::string>& variables);
  [[nodiscard]] bool running();

 private:
  std::intptr_t process_ = 0;
};

}  // namespace ox::platform
