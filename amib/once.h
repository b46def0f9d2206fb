// A table that the process reads from files on first use and keeps until it ends.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <oxbase/oxf.h>

#include "amib/public_files.h"
#include "common/error_position.h"
#include "platform/fork.h"

namespace ox::amib {

// A static object, in a Lasting. One thread loads, others wait for it; once loaded, no lock is taken. A failed load is
// tried again on the next use; one that failed for what stands in the files, when they have been changed.
template <class Table>
class Once {
 public:
  // `load` fills the table from the installation's files of the extension. The table stays null on failure.
  using Load = OX_RESULT (*)(const std::vector<std::string>& files, Table& table);
  OX_RESULT get(const char* extension, Load load, const Table*& table) {
    table = loaded_.load(std::memory_order_acquire);
    if (table != nullptr) return OX_OK;
    const std::lock_guard guard(lock_);
    table = loaded_.load(std::memory_order_relaxed);
    if (table != nullptr) return OX_OK;
    std::vector<std::string> files;
    if (const OX_RESULT result = list_public_files(extension, files); result != OX_OK) return result;
    const std::uint64_t stamp = stamp_of(files);
    if (failure_ != nullptr && failure_->stamp == stamp) return failure_->tell_again();
    failure_.reset();
    auto made = std::make_unique<Table>();
    if (const OX_RESULT result = load(files, *made); result != OX_OK) return keep(result, stamp);
    owner_ = std::move(made);
    table = owner_.get();
    loaded_.store(table, std::memory_order_release);
    return OX_OK;
  }

 private:
  struct Failure {
    OX_RESULT result;
    std::uint64_t stamp;
    std::string file;
    std::uint32_t line;

    [[nodiscard]] OX_RESULT tell_again() const {
      (void)oxfSetErrorFile(file.c_str(), line);
      return result;
    }
  };

  OX_RESULT keep(OX_RESULT result, std::uint64_t stamp) {
    if (result == OX_ENOMEM || result == OX_EOPEN || result > OX_ERRNO_BASE) return result;
    const char* file = nullptr;
    std::uint32_t line = 0;
    (void)oxfGetErrorFile(&file, &line);
    failure_ = std::make_unique<Failure>(Failure{result, stamp, file != nullptr ? file : "", line});
    return result;
  }

  std::mutex lock_;
  [[maybe_unused]] const bool free_in_child_ = platform::free_in_forked_child(lock_);
  std::unique_ptr<const Table> owner_;      // guarded by lock_
  std::unique_ptr<const Failure> failure_;  // guarded by lock_
  std::atomic<const Table*> loaded_{nullptr};
};

}  // namespace ox::amib
