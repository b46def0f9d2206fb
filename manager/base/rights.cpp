#include "manager/base/rights.h"

#include <algorithm>
#include <array>
#include <limits>
#include <tuple>

#include <oxbase/oxc.h>

namespace ox::manager {
namespace {

// How much a pattern says: one without a wildcard the most, else by its other characters.
std::size_t exactness(const ComponentName& components) {
  const auto fixed = [](const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return c != '*' && c != '?'; }));
  };
  const auto wild = [](const std::string& text) { return text.find_first_of("*?") != text.npos; };
  if (!wild(components.type) && !wild(components.name)) return std::numeric_limits<std::size_t>::max();
  return fixed(components.type) + fixed(components.name);
}

auto order(const RoleRule& rule) {
  return std::tuple(~rule.top.size(), ~exactness(rule.components), rule.of_group, -static_cast<int>(rule.role));
}

bool matches(const ComponentName& pattern, const ComponentName& component) {
  if (pattern.type != "*" && pattern.type != component.type) return false;
  return pattern.name == "*" || oxcRegMatch(pattern.name.c_str(), component.name.c_str()) != 0;
}

}  // namespace

const char* role_name(Role role) {
  static constexpr std::array names{"none", "read", "operate", "administer"};
  return names[static_cast<std::size_t>(role)];
}

Role role_to_set(const Oid& path) {
  if (path.size() < 2 || path[0] != 11) return Role::operate;
  static constexpr std::array administered{13u, 23u, 30u, 31u};
  return std::find(administered.begin(), administered.end(), path[1]) != administered.end() ? Role::administer
                                                                                            : Role::operate;
}

Rights::Rights(std::shared_ptr<User> user, Role standard, std::vector<RoleRule> rules)
    : user_(std::move(user)), standard_(standard), highest_(standard), rules_(std::move(rules)) {
  std::stable_sort(rules_.begin(), rules_.end(),
                   [](const RoleRule& a, const RoleRule& b) { return order(a) < order(b); });
  // What holds for everything is the standard, and what stands behind it never counts.
  const auto all = std::find_if(rules_.begin(), rules_.end(), [](const RoleRule& rule) {
    return rule.top.empty() && rule.components.type == "*" && rule.components.name == "*";
  });
  if (all != rules_.end()) standard_ = highest_ = all->role;
  rules_.erase(all, rules_.end());
  for (const RoleRule& rule : rules_) highest_ = std::max(highest_, rule.role);
}

const RightsPtr& Rights::of_manager() {
  static const RightsPtr rights =
      std::make_shared<const Rights>(std::make_shared<User>("oxmgrd"), Role::administer, std::vector<RoleRule>());
  return rights;
}

Role Rights::role(const Oid& path, const ComponentName& component) const {
  for (const RoleRule& rule : rules_) {
    if (is_under(path, rule.top) && matches(rule.components, component)) return rule.role;
  }
  return standard_;
}

bool Rights::allow(Role needed, const Oid& path, const ComponentName& component, std::string_view what) const {
  const Role has = role(path, component);
  if (has >= needed) return true;
  std::string text(what);
  if (!component.type.empty()) text += ' ' + component.type + ':' + component.name;
  if (!path.empty()) text += ' ' + oid_text(path);
  refuse(text, has, needed);
  return false;
}

void Rights::refuse(const std::string& what, Role has, Role needed) const {
  user_->refused(what, std::string("the role there is \"") + role_name(has) + "\", it takes \"" + role_name(needed) +
                           "\" (access.cf)");
}

}  // namespace ox::manager
