// A bound of the numbers that may have been given, in a small file beside the database: a manager that has lost the
// database gives none of them again.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ox::manager {

class Reserve {
 public:
  explicit Reserve(std::string file) : file_(std::move(file)) {}

  // Reads the file. The bound, 0 without a file; nothing for a file that does not read.
  [[nodiscard]] std::optional<std::uint64_t> load();
  // Makes sure that numbers up to `last` may be given. False when the file cannot be written.
  [[nodiscard]] bool cover(std::uint64_t last);

 private:
  std::string file_;
  std::uint64_t bound_ = 0;
};

}  // namespace ox::manager
