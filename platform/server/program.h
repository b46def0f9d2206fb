// Programs that this process starts and lets run. For the manager only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/error.h"

namespace ox::platform {

class Program {
 public:
  Program() = default;  // none
  Program(Program&& other) noexcept;
  Program& operator=(Program&& other) noexcept;
  ~Program();  // it runs on

  // Starts the program arguments[0], looked for where the system looks for programs, in this process's environment and
  // with `variables`, "NAME=value", on top. It has no input, and none of this process's files.
  [[nodiscard]] Error start(const std::vector<std::string>& arguments, const std::vector<std::string>& variables);
  [[nodiscard]] bool running();

 private:
  std::intptr_t process_ = 0;
};

}  // namespace ox::platform
