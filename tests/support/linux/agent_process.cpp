#include "tests/support/agent_process.h"

namespace ox::test {

std::vector<std::string> agent_environment(const std::string& folder) {
  return {"SNMPCONFPATH=" + folder, "SNMP_PERSISTENT_DIR=" + folder + "/data", "MIBS=", "MIBDIRS=" + folder};
}

AgentProcess::AgentProcess(const std::string& folder, const std::string& address)
    : process_({"snmpd", "-f", "-Lo", "-C", "-c", folder + "/snmpd.conf", "-p", folder + "/snmpd.pid", "-I", "-smux",
                address},
               folder + "/snmpd.log", agent_environment(folder)) {}

bool AgentProcess::running() { return process_.running(); }
void AgentProcess::kill() { process_.kill(); }

}  // namespace ox::test
