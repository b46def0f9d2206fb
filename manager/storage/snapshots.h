// Several databases as they are at one moment.
#pragma once

#include <list>
#include <span>
#include <string>

#include "manager/base/faults.h"
#include "manager/storage/check.h"
#include "manager/storage/copy.h"

namespace ox::manager {

struct DatabaseShape {
  const char* name;  // of the file
  std::span<const Table> (*tables)();
  OwnCheck own = nullptr;
};

class Snapshots {
 public:
  // Of those that the folder has. False, and told, when one does not open. Who writes them waits meanwhile.
  [[nodiscard]] bool take(const std::string& folder, std::span<const DatabaseShape> shapes, const FaultSink& faults);
  // As tell_check.
  [[nodiscard]] bool check(const FaultSink& faults, const Tell& tell);
  // Into files of the same names, with that tail, in another folder. False, and told, at the first that fails.
  [[nodiscard]] bool copy(const std::string& folder, const std::string& tail, const FaultSink& faults);
  // What goes on in another thread ends soon.
  void break_off() noexcept;
  [[nodiscard]] bool empty() const { return taken_.empty(); }

 private:
  struct Taken {
    std::string file;
    DatabaseShape shape;
    Snapshot snapshot;
  };
  std::list<Taken> taken_;
};

}  // namespace ox::manager
