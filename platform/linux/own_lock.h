// A lock among the processes of one account. Nobody else can open its file, so nobody else can hold it.
#pragma once

#include <sys/types.h>

#include <string>

#include "platform/linux/descriptor.h"

namespace ox::platform {

class OwnLock {
 public:
  OwnLock() = default;
  OwnLock(OwnLock&&) noexcept = default;
  OwnLock& operator=(OwnLock&&) noexcept = default;
  // Unlocks, not just closes: a child forked by another thread meanwhile may have the descriptor too.
  ~OwnLock() { give_up(); }

  enum class Wait : bool { no, yes };
  // Makes the file where it is missing, for `account`. A file that others can open is replaced: one of them may hold a
  // lock on it for ever. False with errno: EWOULDBLOCK when it is held and there is no waiting.
  [[nodiscard]] bool take(const std::string& path, uid_t account, Wait wait) noexcept;
  void give_up() noexcept;

  [[nodiscard]] explicit operator bool() const noexcept { return static_cast<bool>(file_); }
  [[nodiscard]] int file() const noexcept { return file_.get(); }

 private:
  Descriptor file_;
};

}  // namespace ox::platform
