// The store's files: a snapshot that is replaced as a whole, and a journal of the batches that came after it.
//
// A batch is acknowledged when its lines and its commit line have reached the disk. A batch whose commit line is
// missing at the journal's end was being written when the manager was killed: it is dropped, and was never
// acknowledged. Anything else that does not read is damage, and is reported instead of dropped.
#pragma once

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "manager/base/faults.h"
#include "manager/components/store.h"

namespace ox::manager {

class Journal {
 public:
  // Files "components.def" and "components.jnl" of the directory. The journal is compacted when it is larger than both
  // `compact_at` and the snapshot, so that every batch is rewritten a bounded number of times.
  explicit Journal(const std::string& directory, std::size_t compact_at = 1u << 20);

  // Reads both files into the store. False, with every fault reported, when one is damaged. Writes nothing.
  [[nodiscard]] bool load(Store& store, const FaultSink& faults);
  // Writes the batch, then applies it. 0, or 144 with the store as it was.
  [[nodiscard]] OX_RESULT commit(Store& store, std::span<const Change> batch);

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
  };
  using File = std::unique_ptr<std::FILE, CloseFile>;

  [[nodiscard]] bool compact(const Store& store);
  [[nodiscard]] bool append(const std::string& text);

  std::string snapshot_;
  std::string temporary_;
  std::string journal_;
  std::size_t compact_at_;
  std::size_t snapshot_size_ = 0;
  std::size_t journal_size_ = 0;
  bool clean_ = false;  // the journal ends with a commit line, so that it can be appended to
  File file_;
};

}  // namespace ox::manager
