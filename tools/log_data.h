// What a log entry has collected: shown, exported, drawn; and what it lacks.
#pragma once

#include "tools/collected.h"
#include "tools/log_entries.h"

namespace tool {

// Which of the collected values are wanted, and what is made of them.
class DataOptions {
 public:
  void add_to(Command& command);
  // Seen from the entry's last round where it does not collect any more. Throws Usage.
  [[nodiscard]] Window window(const Call& call, const oxcZone* zone, const std::string& usual_last) const;
  [[nodiscard]] const Choice& choice() const { return choice_; }

 private:
  [[nodiscard]] std::uint32_t step() const;

  Choice choice_;
  std::string from_, to_, last_, step_;
  std::uint32_t function_ = 0;  // a Function: the average
  bool rate_ = false;
};

struct PlotOptions {
  std::string svg;  // file
  int columns = 0;  // 0: the terminal's
  int rows = 0;     // 0: as many as fit
  bool ascii = false;
  void add_to(Command& command);
};

// All return the exit code.
int show_data(const Call& call, const DataOptions& options);
int export_data(const Call& call, const DataOptions& options, const std::string& file);
int plot_data(const Call& call, const DataOptions& options, const PlotOptions& plot);
// One row for each reason, the most values first; or each run of rounds, in the order of the ledger.
int show_gaps(const Call& call, const DataOptions& options, bool each);

}  // namespace tool
