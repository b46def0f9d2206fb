// Which programs run, for the daemon that comes after one that was killed.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace expert {

// A process; no other one of this machine ever has the same two numbers.
struct Identity {
  std::uint32_t id = 0;
  std::uint64_t started = 0;
  bool operator==(const Identity&) const = default;
};

class RunFile {
 public:
  explicit RunFile(std::string path) : path_(std::move(path)) {}

  // Ends what the daemon before this one has left, and takes the file over: from now on it tells of this process, and
  // the programs that this process starts carry a mark that nobody else's have. False when the file cannot be written.
  [[nodiscard]] bool take_over();
  // Notes a rule's program; id 0: it has none. Writes when it is another one than before.
  void note(const std::string& rule, const Identity& program);

 private:
  [[nodiscard]] bool write() const;

  std::string path_;
  Identity self_;
  std::map<std::string, Identity> running_;
};

}  // namespace expert
