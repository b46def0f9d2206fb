#include "manager/snmp/agent.h"
#include "manager/snmp/values.h"

namespace ox::manager {

void snmp_set(SnmpEngine& engine, const Agent& agent, const NodeList& values,
              std::function<void(std::vector<OX_RESULT>)> handler) {
  std::size_t count = 0;
  for (const dnode* node = values.get(); node != nullptr; node = oxdNext(node)) ++count;
  engine.send(agent, OXS_SET, values, [count, handler = std::move(handler)](const SnmpAnswer& answer) {
    if (answer.result != OX_OK) return handler(std::vector<OX_RESULT>(count, answer.result));
    const OX_RESULT code = code_of_status(answer.error_status, true);
    // The agent sets all or nothing: beside the value that it refuses, the others were not written.
    const bool one = answer.error_index >= 1 && answer.error_index <= count;
    std::vector<OX_RESULT> codes(count, code != OX_OK && one ? OX_RESULT{OX_EWRITE} : code);
    if (code != OX_OK && one) codes[answer.error_index - 1] = code;
    handler(std::move(codes));
  });
}

}  // namespace ox::manager
