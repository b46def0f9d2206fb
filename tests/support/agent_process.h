// The process of a test's SNMP agent: the machine's own program, also for tests that run on an emulated Windows.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace ox::test {

class AgentProcess {
 public:
  AgentProcess() = default;  // none
  AgentProcess(AgentProcess&&) noexcept = default;
  AgentProcess& operator=(AgentProcess&& other) noexcept {
    std::swap(process_, other.process_);
    std::swap(folder_, other.folder_);
    return *this;
  }
  ~AgentProcess() { kill(); }

  // The folder holds snmpd.conf; what the agent says goes to snmpd.log in it.
  AgentProcess(const std::string& folder, const std::string& address);
  [[nodiscard]] bool running();
  void kill();

 private:
  ChildProcess process_;
  std::string folder_;
};

// Variables that keep the agent and its command-line tools away from the machine's own configuration.
[[nodiscard]] std::vector<std::string> agent_environment(const std::string& folder);

}  // namespace ox::test
