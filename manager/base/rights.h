// What a user may do, by attribute and component: decided once when a client greets, looked up without taking memory.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/component_name.h"
#include "manager/base/oid.h"
#include "manager/base/user.h"

namespace ox::manager {

// Each may do what those before it may.
enum class Role : std::uint8_t { none, read, operate, administer };
[[nodiscard]] const char* role_name(Role role);

// A role for all attributes at and below `top` (empty: all there are) of the components that match.
struct RoleRule {
  Oid top;
  ComponentName components;  // the type's own name or "*", and a pattern of names
  Role role = Role::none;
  bool of_group = false;  // not of the user himself
};

// What one component's attribute takes to be set: definitions of what the manager runs are the administrator's.
[[nodiscard]] Role role_to_set(const Oid& path);

class Rights {
 public:
  // The rules that are the user's own or of his groups; where none of them matches he has the standard role.
  Rights(std::shared_ptr<User> user, Role standard, std::vector<RoleRule> rules);
  // Of what the manager does by itself.
  [[nodiscard]] static const std::shared_ptr<const Rights>& of_manager();

  // The longest subtree decides, then the more exact pattern, then a rule of the user before one of a group, then the
  // higher role. What has no path (an event, a lock) is matched by its component, by rules for all attributes.
  [[nodiscard]] Role role(const Oid& path, const ComponentName& component) const;
  [[nodiscard]] bool may(Role needed, const Oid& path, const ComponentName& component) const {
    return role(path, component) >= needed;
  }
  [[nodiscard]] bool may(Role needed, const ComponentName& component) const {
    static const Oid all;
    return may(needed, all, component);
  }
  // Whether the role is the same for everything and enough.
  [[nodiscard]] bool may_all(Role needed) const { return rules_.empty() && standard_ >= needed; }
  [[nodiscard]] Role highest() const { return highest_; }
  // Whether there is anything for which the role is enough.
  [[nodiscard]] bool may_anywhere(Role needed) const { return highest_ >= needed; }

  // As `may`; a refusal is logged: "set node:a 11.5.1.0".
  [[nodiscard]] bool allow(Role needed, const Oid& path, const ComponentName& component, std::string_view what) const;
  [[nodiscard]] bool allow(Role needed, const ComponentName& component, std::string_view what) const {
    return allow(needed, {}, component, what);
  }
  void refuse(const std::string& what, Role has, Role needed) const;

  [[nodiscard]] User& user() const { return *user_; }
  [[nodiscard]] const std::shared_ptr<User>& shared_user() const { return user_; }

 private:
  std::shared_ptr<User> user_;
  Role standard_;
  Role highest_;
  std::vector<RoleRule> rules_;  // the first that matches decides
};
using RightsPtr = std::shared_ptr<const Rights>;

}  // namespace ox::manager
