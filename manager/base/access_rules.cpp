#include "manager/base/access_rules.h"

#include <array>
#include <optional>

#include <oxbase/oxc.h>

#include "manager/base/entry_file.h"
#include "manager/base/paths.h"
#include "manager/base/selection.h"

namespace ox::manager {
namespace {

std::optional<Role> role_of(std::string_view name) {
  for (const Role role : {Role::none, Role::read, Role::operate, Role::administer}) {
    if (name == role_name(role)) return role;
  }
  return std::nullopt;
}

// The tops of the subtrees that a name stands for; what is wrong with it, else.
std::string tops_of(const std::string& names, std::vector<Oid>& tops) {
  if (names == "*") {
    tops.emplace_back();
    return {};
  }
  std::vector<Selection> selections;
  if (const OX_RESULT result = select(names, selections)) return names + ": " + oxcStrError(result);
  for (const Selection& selection : selections) {
    if (selection.error != OX_OK) return names + ": " + oxcStrError(selection.error);
    if (!selection.pattern.empty()) return names + ": a subtree, or a value, is named without \"*\" in it";
    tops.push_back(selection.path);
  }
  return {};
}

std::string components_of(const std::string& text, const AccessRules::TypeName& type_name, ComponentName& components) {
  if (text == "*") {
    components = {"*", "*"};
    return {};
  }
  if (parse_component_name(text, components) != OX_OK) return text + " must be TYPE:PATTERN, or \"*\"";
  if (components.type == "*") return {};
  components.type = type_name(components.type);
  return components.type.empty() ? text + ": there is no such type of components" : std::string();
}

}  // namespace

std::string access_file() { return join(oxcGetWorkdir(), "conf", "access.cf"); }

std::string AccessRules::take(const Entry& entry, const TypeName& type_name, Rules& rules) {
  const std::string keyword = entry.keyword();
  const bool of_group = keyword == "Group";
  if (!of_group && keyword != "User") return "unknown keyword " + keyword + ": User or Group";
  if (entry.count() < 2 || entry.count() > 4)
    return keyword + " needs a name and a role, then attributes and components";
  const std::string name = entry.value(0);
  const auto id = of_group ? platform::group_id(name) : platform::account_id(name);
  if (id.empty()) return (of_group ? "there is no group " : "there is no user ") + name + " on this machine";
  const auto role = role_of(entry.value(1));
  if (!role) return std::string(entry.value(1)) + " is no role: none, read, operate or administer";
  std::vector<Oid> tops;
  ComponentName components;
  std::string fault = tops_of(entry.count() > 2 ? entry.value(2) : "*", tops);
  if (fault.empty()) fault = components_of(entry.count() > 3 ? entry.value(3) : "*", type_name, components);
  if (!fault.empty()) return fault;
  auto& list = (of_group ? rules.of_groups : rules.of_users)[id];
  for (Oid& top : tops) list.push_back({std::move(top), components, *role, of_group});
  return {};
}

bool AccessRules::read(const std::string& file, const TypeName& type_name, const FaultSink& faults) {
  Rules rules;
  if (!read_entries(file, faults, [&](const Entry& entry) { return take(entry, type_name, rules); })) {
    closed_ = closed_ || (rules_.of_users.empty() && rules_.of_groups.empty());
    return false;
  }
  rules_ = std::move(rules);
  closed_ = false;
  return true;
}

RightsPtr AccessRules::rights_of(const platform::Peer& peer, std::shared_ptr<User> user) const {
  if (peer.user.empty() || (closed_ && !peer.owner)) return nullptr;
  std::vector<RoleRule> rules;
  const auto add = [&rules](const auto& of, const platform::AccountId& id) {
    const auto found = of.find(id);
    if (found != of.end()) rules.insert(rules.end(), found->second.begin(), found->second.end());
  };
  if (!peer.owner) {
    add(rules_.of_users, peer.user);
    for (const platform::AccountId& group : peer.groups) add(rules_.of_groups, group);
  }
  return std::make_shared<const Rights>(std::move(user), peer.owner ? Role::administer : Role::operate,
                                        std::move(rules));
}

}  // namespace ox::manager
