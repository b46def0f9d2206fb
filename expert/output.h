// What a rule's program prints, in a file of its own.
#pragma once

#include <cstdint>
#include <string>

namespace expert {

class Output {
 public:
  // The file of a rule in a folder, which is there.
  Output(const std::string& folder, const std::string& rule);

  [[nodiscard]] const char* path() const noexcept { return path_.c_str(); }

  // A line of the daemon's own.
  void note(const std::string& text);
  // What is printed from now on is a run's.
  void begin_run();
  // The end of what the run has printed: its last lines, 1,000 bytes at most.
  [[nodiscard]] std::string last_lines() const;
  // Empties the file when it has grown over a megabyte; the programs go on writing to it.
  void keep_small();

 private:
  [[nodiscard]] std::uint64_t size() const;

  std::string path_;
  std::uint64_t begin_ = 0;
};

}  // namespace expert
