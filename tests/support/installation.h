// Installations in the test's system root: the shipped one, and the little that a session needs around it.
#pragma once

#include <string>

#include "platform/named_event.h"

namespace ox::test {

// Copies the shipped files to where the manager and the library look for them. Once in a test process; later calls do
// nothing.
void lay_down_installation();

// The manager's settings in place of the shipped ones, for a machine of any fullness: an event about its disk would
// stand between those that a test counts.
void write_settings(const std::string& text);

// Message texts, the running base services and an AMIB tree, for as long as it lives. The tree is built by this
// process.
class Installation {
 public:
  enum class Missing { nothing, base_services, tree };
  explicit Installation(Missing missing = Missing::nothing);
  ~Installation();
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

 private:
  platform::NamedEvent base_services_;
  bool tree_;
};

}  // namespace ox::test
