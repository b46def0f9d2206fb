#include "manager/snmp/agent.h"

#include <array>

#include <oxbase/oxbytes.h>

#include "manager/base/attributes.h"

namespace ox::manager {
namespace {

// Leaves the number as it is when the attribute is not set.
OX_RESULT read_number(const Values& values, const Oid& path, std::uint32_t least, std::uint32_t most,
                      std::uint32_t& number) {
  const auto found = values.find(path);
  if (found == values.end() || found->second.bytes.size() != 4) return OX_OK;
  const auto value = peek_long(reinterpret_cast<const unsigned char*>(found->second.bytes.data()));
  if (value < least || value > most) return OX_ERANGE;
  number = value;
  return OX_OK;
}

OX_RESULT read_code(const Values& values, const Oid& path, std::string& text) {
  const auto found = values.find(path);
  if (found == values.end()) return OX_OK;
  const NodePtr node = make_node();
  const std::string& bytes = found->second.bytes;
  const OX_RESULT result =
      oxdSetBytes(node.get(), OX_CODESTRING, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  if (result == OX_OK) text = oxdGetValueByCodeStr(node.get());
  return result;
}

OX_RESULT read_address(const Values& values, asio::ip::address& address) {
  const auto found = values.find(node_address_path);
  if (found == values.end() || found->second.bytes.size() != 4) return OX_EMISSING;
  asio::ip::address_v4::bytes_type bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(found->second.bytes[i]);
  address = asio::ip::address_v4(bytes);
  return OX_OK;
}

}  // namespace

OX_RESULT agent_of(const Store& store, const ComponentName& component, const Settings& settings, Agent& agent) {
  const Values* const values = store.values(component);
  if (values == nullptr) return OX_ENOCOMP;
  if (component.type != "node") return OX_ENOSUCHVALUE;
  asio::ip::address address;
  if (const OX_RESULT result = read_address(*values, address)) return result;
  std::uint32_t port = 161;
  agent.version = OXS_V2C;
  agent.timeout = settings.snmp_timeout;
  agent.retries = settings.snmp_retries;
  agent.read_community = "public";
  for (const OX_RESULT result : {read_number(*values, node_port_path, 1, 65535, port),
                                 read_number(*values, node_snmp_version_path, OXS_V1, OXS_V2C, agent.version),
                                 read_number(*values, node_timeout_path, 1, 600000, agent.timeout),
                                 read_number(*values, node_retries_path, 0, 100, agent.retries),
                                 read_number(*values, node_learned_path, 0, 0xFFFF, agent.learned),
                                 read_code(*values, node_read_community_path, agent.read_community)}) {
    if (result != OX_OK) return result;
  }
  agent.write_community = agent.read_community;
  agent.address = {address, static_cast<unsigned short>(port)};
  return read_code(*values, node_write_community_path, agent.write_community);
}

OX_RESULT code_of_status(std::uint32_t error_status, bool writing) {
  constexpr std::uint32_t other = 0;  // a failure of the agent itself
  constexpr std::array<std::uint32_t, 19> codes{
      OX_OK,            // noError
      OX_EENCODEDLONG,  // tooBig
      OX_ENOSUCHVALUE,  // noSuchName
      OX_EFORMAT,       // badValue
      OX_EDENIED,       // readOnly
      other,            // genErr
      OX_EDENIED,       // noAccess
      OX_EVALUETYPE,    // wrongType
      OX_EFORMAT,       // wrongLength
      OX_EFORMAT,       // wrongEncoding
      OX_ERANGE,        // wrongValue
      OX_ENOSUCHVALUE,  // noCreation
      OX_ERANGE,        // inconsistentValue
      other,            // resourceUnavailable
      other,            // commitFailed
      other,            // undoFailed
      OX_EDENIED,       // authorizationError
      OX_EDENIED,       // notWritable
      OX_ENOSUCHVALUE,  // inconsistentName
  };
  if (error_status == 0) return OX_OK;
  const std::uint32_t code = error_status < codes.size() ? codes[error_status] : other;
  if (code != other) return code;
  return writing ? OX_EWRITE : OX_ERUNTIME;
}

}  // namespace ox::manager
