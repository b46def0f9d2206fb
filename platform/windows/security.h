// Security attributes of what a process makes for others.
#pragma once

#include <windows.h>

#include <cstddef>
#include <vector>

#include "platform/access.h"
#include "platform/error.h"

namespace ox::platform {

// What kind of object it is: everyone may read a block but not write it, while an event or a mutex that can only be
// looked at would be of no use.
enum class Shared { block, signal, pipe };

class SecurityAttributes {
 public:
  SecurityAttributes() = default;
  SecurityAttributes(const SecurityAttributes&) = delete;
  SecurityAttributes& operator=(const SecurityAttributes&) = delete;

  // The maker, the system account and the administrators have every right; others as the kinds say.
  [[nodiscard]] Error build(Access access, Shared kind);
  [[nodiscard]] SECURITY_ATTRIBUTES* get() noexcept { return &attributes_; }

 private:
  std::vector<std::byte> acl_;
  SECURITY_DESCRIPTOR descriptor_{};
  SECURITY_ATTRIBUTES attributes_{};
};

// Whether an object belongs to who may serve this system: the system account, the administrators, or the account that
// the service manager starts the service under; in a private system, the process's own account.
[[nodiscard]] bool is_of_installation(HANDLE object) noexcept;

// The security identifier of an account of this machine or its domain; error 1332 for an unknown name.
[[nodiscard]] Error account_sid(const char* account, std::vector<std::byte>& sid);

}  // namespace ox::platform
