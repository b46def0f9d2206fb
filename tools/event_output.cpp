#include "tools/event_output.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/community.h"
#include "tools/library.h"
#include "tools/rows.h"

namespace tool {
namespace {

struct NumberField {
  const char* name;
  OX_RESULT(OX_CALL* get)(const evmsg*, uint32_t*);
};
constexpr NumberField number_fields[] = {
    {"sndId", &oxeEvmsgGetSndId},
    {"eventType", &oxeEvmsgGetEventType},
    {"eventId", &oxeEvmsgGetEventId},
    {"refEventId", &oxeEvmsgGetRefEventId},
    {"occurTime", &oxeEvmsgGetOccurTime},
    {"recoverTime", &oxeEvmsgGetRecoverTime},
    {"msgNumber", &oxeEvmsgGetMsgNumber},
    {"flag", &oxeEvmsgGetFlag},
    {"snmpAgentAddr", &oxeEvmsgGetSnmpAgentAddr},
    {"snmpGenTrap", &oxeEvmsgGetSnmpGenTrap},
    {"snmpSpecTrap", &oxeEvmsgGetSnmpSpecTrap},
    {"snmpTimeStamp", &oxeEvmsgGetSnmpTimeStamp},
};

struct TextField {
  const char* name;
  OX_RESULT(OX_CALL* get)(const evmsg*, const char**);
};
constexpr TextField text_fields[] = {
    {"sender", &oxeEvmsgGetSender},
    {"commName", &oxeEvmsgGetCommName},
    {"compType", &oxeEvmsgGetCompType},
    {"compName", &oxeEvmsgGetCompName},
    {"msgFile", &oxeEvmsgGetMsgFile},
    {"optMsg", &oxeEvmsgGetOptMsg},
    {"memo", &oxeEvmsgGetMemo},
    {"snmpCommName", &oxeEvmsgGetSnmpCommName},
    {"snmpEnterprises", &oxeEvmsgGetSnmpEnterprises},
    {"mapName", &oxeEvmsgGetMapName},
};

std::string text_of(const evmsg* event, OX_RESULT(OX_CALL* get)(const evmsg*, const char**)) {
  const char* text = nullptr;
  return get(event, &text) == OX_OK ? text : std::string();
}
uint32_t number_of(const evmsg* event, OX_RESULT(OX_CALL* get)(const evmsg*, uint32_t*)) {
  uint32_t number = 0;
  (void)get(event, &number);
  return number;
}

std::string agent_text(const evmsg* event) {
  uint32_t address = 0;
  if (oxeEvmsgGetSnmpAgentAddr(event, &address) != OX_OK) return {};
  return oxcIpAddrToStr(address);
}

std::string nodes_text(const evmsg* event) {
  dnode* nodes = nullptr;
  std::string text;
  if (oxeEvmsgGetDnodeList(event, &nodes) != OX_OK) return text;
  for (dnode* node = nodes; node != nullptr; node = oxdNext(node)) {
    const char* path = "";
    (void)oxdGetAmibName(node, &path);
    text += (text.empty() ? "" : ", ") + std::string(path) + '=' + oxdGetValueByRawStr(node);
  }
  return text;
}

void print_json(const evmsg* event) {
  nlohmann::ordered_json object;
  uint32_t number = 0;
  for (const NumberField& field : number_fields) {
    if (field.get(event, &number) == OX_OK) object[field.name] = number;
  }
  for (const TextField& field : text_fields) {
    const std::string text = text_of(event, field.get);
    if (!text.empty()) object[field.name] = field.get == &oxeEvmsgGetSnmpCommName ? shown_community(text) : text;
  }
  if (const std::string agent = agent_text(event); !agent.empty()) object["snmpAgent"] = agent;
  if (const std::string nodes = nodes_text(event); !nodes.empty()) object["nodes"] = nodes;
  std::puts(json_text(object).c_str());
}

void print_line(const evmsg* event) {
  const char* const time = oxcUxTimeToStr(number_of(event, &oxeEvmsgGetOccurTime));
  const std::string type = text_of(event, &oxeEvmsgGetCompType);
  const std::string component = type.empty() ? "-" : on_one_line(type + ':' + text_of(event, &oxeEvmsgGetCompName));
  std::string text = text_of(event, &oxeEvmsgGetOptMsg);
  for (const std::string& more : {text_of(event, &oxeEvmsgGetMemo), nodes_text(event)}) {
    if (!more.empty()) text += (text.empty() ? "" : " ") + more;
  }
  if (const std::string agent = agent_text(event); !agent.empty()) text += " [" + agent + ']';
  say(stdout, "%8u  %s  %-4x %s  %-20s  %s  %s\n", number_of(event, &oxeEvmsgGetSndId), time != nullptr ? time : "-",
      number_of(event, &oxeEvmsgGetEventType), (number_of(event, &oxeEvmsgGetFlag) & 1) != 0 ? "checked" : "       ",
      component.c_str(), on_one_line(text_of(event, &oxeEvmsgGetSender)).c_str(), on_one_line(text).c_str());
}

}  // namespace

void print_events(const evmsg* list, bool json) {
  for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    json ? print_json(event) : print_line(event);
  }
}

}  // namespace tool
