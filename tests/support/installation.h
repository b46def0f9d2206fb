// What a session needs around it: message texts, the running base services, and the AMIB tree.
#pragma once

#include "platform/named_event.h"

namespace ox::test {

// An installation in the private system root, for as long as it lives. The tree is built by this process.
class Installation {
 public:
  enum class Missing { nothing, base_services, tree, messages };
  explicit Installation(Missing missing = Missing::nothing);
  ~Installation();
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

 private:
  platform::NamedEvent base_services_;
  bool tree_ = false;
};

}  // namespace ox::test
