#include "manager/storage/snapshots.h"

#include "manager/base/paths.h"
#include "platform/file.h"

namespace ox::manager {

bool Snapshots::take(const std::string& folder, std::span<const DatabaseShape> shapes, const FaultSink& faults) {
  for (const DatabaseShape& shape : shapes) {
    const std::string file = join(folder, shape.name);
    platform::FileAttributes attributes;
    if (platform::file_attributes(file.c_str(), attributes) != platform::error_none) continue;
    Taken& taken = taken_.emplace_back();
    taken.file = file;
    taken.shape = shape;
    if (taken.snapshot.take(file) == Outcome::done) continue;
    faults(file, 0, "cannot be read: " + taken.snapshot.connection().fault());
    return false;
  }
  return true;
}

bool Snapshots::check(const FaultSink& faults, const Tell& tell) {
  bool sound = true;
  for (Taken& taken : taken_) {
    const DatabaseShape& shape = taken.shape;
    sound = tell_check(taken.file, taken.snapshot.connection(), shape.tables(), faults, tell, shape.own) && sound;
  }
  return sound;
}

bool Snapshots::copy(const std::string& folder, const std::string& tail, const FaultSink& faults) {
  for (Taken& taken : taken_) {
    std::string why;
    if (taken.snapshot.copy(join(folder, taken.shape.name) + tail, why)) continue;
    faults(taken.file, 0, "cannot be copied: " + why);
    return false;
  }
  return true;
}

void Snapshots::break_off() noexcept {
  for (Taken& taken : taken_) taken.snapshot.break_off();
}

}  // namespace ox::manager
