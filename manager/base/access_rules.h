// Who may do what: "access.cf" in the work directory's "conf" (docs/security.md).
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/faults.h"
#include "manager/base/rights.h"
#include "platform/server/peer.h"

namespace ox::manager {

[[nodiscard]] std::string access_file();

class AccessRules {
 public:
  // A component type by its own name (Vocabulary).
  using TypeName = std::function<std::string(std::string_view type)>;

  // Reads the file; without one everybody has the standard role. The attributes are those of the tree in use. False,
  // with every fault reported, when a line is wrong: what was read before is kept, and where nothing was, only owners
  // of the installation are let in, since a rule that does not read may have been to keep somebody out.
  [[nodiscard]] bool read(const std::string& file, const TypeName& type_name, const FaultSink& faults);

  // What a client may do. Null: nothing at all.
  [[nodiscard]] RightsPtr rights_of(const platform::Peer& peer, std::shared_ptr<User> user) const;

 private:
  struct Rules {
    std::map<platform::AccountId, std::vector<RoleRule>> of_users;
    std::map<platform::AccountId, std::vector<RoleRule>> of_groups;
  };
  [[nodiscard]] static std::string take(const class Entry& entry, const TypeName& type_name, Rules& rules);

  Rules rules_;
  bool closed_ = false;
};

}  // namespace ox::manager
