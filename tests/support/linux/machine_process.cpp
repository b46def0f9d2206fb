#include "tests/support/machine_process.h"

namespace ox::test {

MachineProcess::MachineProcess(const std::vector<std::string>& arguments, const std::string& output_file,
                               const std::string& folder)
    : process_(arguments, output_file,
               {"SNMPCONFPATH=" + folder, "SNMP_PERSISTENT_DIR=" + folder + "/data", "MIBS=", "MIBDIRS=" + folder}) {}

bool MachineProcess::running() { return process_.running(); }
int MachineProcess::wait(std::chrono::milliseconds limit) { return process_.wait(limit); }
void MachineProcess::kill() { process_.kill(); }

std::string machine_path(const std::string& path) { return path; }

}  // namespace ox::test
