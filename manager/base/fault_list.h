// What is wrong with the installation while the manager runs, for whoever asks later: the log goes by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "manager/base/faults.h"

namespace ox::manager {

class FaultList {
 public:
  // Of the lines of one file that many faults are kept and logged, and of all kinds that many kept; the others are
  // counted.
  static constexpr std::uint64_t most_of_file = 20;
  static constexpr std::size_t most = 1000;

  // Logs and keeps a fault of a file.
  void add(const std::string& file, std::uint32_t line, const std::string& text);
  // Keeps what is in the log already, on one line.
  void add(std::string text);
  // The first of these calls; the list must stay.
  [[nodiscard]] FaultSink sink();

  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] const std::vector<std::string>& texts() const { return texts_; }

  struct File {
    std::string path;
    std::uint64_t faults = 0;
    std::string first;
  };
  [[nodiscard]] const std::vector<File>& files() const { return files_; }  // as they came

 private:
  std::uint64_t count_ = 0;
  std::vector<std::string> texts_;
  std::vector<File> files_;
};

}  // namespace ox::manager
