// A rule program, started as "ENTRY FILE SECONDS": it says in the file who runs, and whether another one of the same
// rule does, and rests.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/environment.h"
#include "platform/named_event.h"
#include "platform/process_list.h"

int main(int argc, char** argv) {
  namespace platform = ox::platform;
  if (argc < 4 || std::getenv("FOREIGN") != nullptr) return 2;  // of whoever started the daemon
  platform::NamedMutex mark;                                    // goes with the process
  const std::string name = std::string("OxTestRule") + argv[1];
  const bool is_alone = mark.create(name.c_str(), platform::Access::machine) == platform::error_none &&
                        mark.lock(0) == platform::error_none;
  const std::uint32_t id = platform::process_id();
  const std::string line =
      (is_alone ? "" : "twice ") + std::to_string(id) + ' ' + std::to_string(platform::start_of_process(id)) + '\n';
  std::FILE* const file = std::fopen(argv[2], "ab");
  if (file == nullptr) return 3;
  (void)std::fwrite(line.data(), 1, line.size(), file);
  (void)std::fclose(file);
  for (int i = 0; i < std::atoi(argv[3]); ++i) platform::sleep_ms(1000);
  return 0;
}
