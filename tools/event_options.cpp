#include "tools/event_options.h"

#include <iterator>
#include <new>

#include "tools/cli.h"

namespace tool {
namespace {

struct FieldRow {
  const char* option;
  const char* help;
  OX_RESULT(OX_CALL* set_number)(evmsg*, uint32_t);
  OX_RESULT(OX_CALL* set_text)(evmsg*, const char*);
};
constexpr FieldRow field_rows[] = {
    {"--type", "type code, as 0x103: family 0x100, level 3", &oxeEvmsgSetEventType, nullptr},
    {"--id", "event identifier (default: the manager's number)", &oxeEvmsgSetEventId, nullptr},
    {"--ref-id", "identifier of the event that this one refers to", &oxeEvmsgSetRefEventId, nullptr},
    {"--time", "time of occurrence, seconds since 1970", &oxeEvmsgSetOccurTime, nullptr},
    {"--recover-time", "time of recovery, seconds since 1970", &oxeEvmsgSetRecoverTime, nullptr},
    {"--msg-number", "number of the message in its file", &oxeEvmsgSetMsgNumber, nullptr},
    {"--flag", "flag word", &oxeEvmsgSetFlag, nullptr},
    {"--community", "community name", nullptr, &oxeEvmsgSetCommName},
    {"--msg-file", "message definition file", nullptr, &oxeEvmsgSetMsgFile},
    {"--opt-msg", "optional message text", nullptr, &oxeEvmsgSetOptMsg},
    {"--memo", "memo", nullptr, &oxeEvmsgSetMemo},
    {"--map", "map on which the component stands", nullptr, &oxeEvmsgSetMapName},
};

struct CriterionRow {
  const char* option;
  const char* help;
  uint32_t bit;
  bool text;
  bool limit = false;
};
constexpr CriterionRow criterion_rows[] = {
    {"--from", "not before: seconds since 1970, or a local time as 2009/09/03.10:20:30", OX_EVFLT_FROMTIME, true},
    {"--to", "not after, likewise", OX_EVFLT_TOTIME, true},
    {"--send-id", "send identifier", OX_EVFLT_SNDID, false},
    {"--sender", "sender, a pattern", OX_EVFLT_SENDER, true},
    {"--class,--min-level", "level 1 to 4 or higher; 512 second family, 1024 traps", OX_EVFLT_EVENTTYPE, false},
    {"--id", "event identifier", OX_EVFLT_EVENTID, false},
    {"--ref-id", "identifier of the event referred to", OX_EVFLT_REFEVENTID, false},
    {"--community", "community name, a pattern", OX_EVFLT_COMMNAME, true},
    {"--comp-type", "component's type, a pattern", OX_EVFLT_COMPTYPE, true},
    {"--comp-name", "component's name, a pattern", OX_EVFLT_COMPNAME, true},
    {"--msg-file", "message definition file, a pattern", OX_EVFLT_MSGFILE, true},
    {"--msg-number", "message number", OX_EVFLT_MSGNUMBER, false},
    {"--memo", "memo, a pattern", OX_EVFLT_MEMO, true},
    {"--checked", "1 checked, 0 not", OX_EVFLT_FLAGBIT1, false},
    {"--flag-bit2", "second bit of the flag word: 1 set, 0 clear", OX_EVFLT_FLAGBIT2, false},
    {"--snmp-community", "community of the trap, a pattern", OX_EVFLT_SNMPCOMMNAME, true},
    {"--enterprise", "enterprise of the trap, a pattern", OX_EVFLT_SNMPENTERPRISES, true},
    {"--agent", "agent address of the trap, as 192.0.2.1 or as a number", OX_EVFLT_SNMPAGENTADDR, true},
    {"--generic", "generic trap number", OX_EVFLT_SNMPGENTRAP, false},
    {"--specific", "specific trap number", OX_EVFLT_SNMPSPECTRAP, false},
    {"--ipx", "source address of a trap over IPX, 20 hexadecimal digits", OX_EVFLT_SNMPSRCIPXADDR, true},
    {"--first", "only the first so many", OX_EVFLT_FIRST, false, true},
    {"--last", "only the last so many", OX_EVFLT_LAST, false, true},
};

void add_option(Command& command, std::list<Given>& given, std::size_t row, const char* option, const char* help,
                bool text) {
  if (text) {
    command.add_option_function<std::string>(
        option,
        [&given, row](const std::string& value) {
          given.push_back({row, value, {}});
        },
        help);
  } else {
    command.add_option_function<uint32_t>(
        option,
        [&given, row](const uint32_t& value) {
          given.push_back({row, {}, value});
        },
        help);
  }
}

unsigned char byte_of(const std::string& digits, std::size_t at) {
  return static_cast<unsigned char>(std::stoi(digits.substr(at, 2), nullptr, 16));
}

OX_RESULT set_address(evflt* filter, const std::string& digits) {
  unsigned char address[10];
  if (digits.size() != 2 * sizeof address || digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) {
    return OX_EFORMAT;
  }
  for (std::size_t i = 0; i < sizeof address; ++i) address[i] = byte_of(digits, 2 * i);
  return oxeEvfltSet(filter, OX_EVFLT_SNMPSRCIPXADDR, reinterpret_cast<uintptr_t>(address));
}

OX_RESULT set_time(evflt* filter, uint32_t bit, const std::string& text) {
  uint32_t seconds = 0;
  const bool number = text.find_first_not_of("0123456789") == text.npos;
  const OX_RESULT result = number ? oxcStrToUlong(text.c_str(), 10, &seconds) : oxcStrToUxTime(text.c_str(), &seconds);
  return result != OX_OK ? result : oxeEvfltSetNumber(filter, bit, seconds);
}

OX_RESULT set_agent(evflt* filter, const std::string& text) {
  uint32_t address = 0;
  const bool number = text.find_first_not_of("0123456789") == text.npos;
  const OX_RESULT result = number ? oxcStrToUlong(text.c_str(), 10, &address) : oxcStrToIpAddr(text.c_str(), &address);
  return result != OX_OK ? result : oxeEvfltSetNumber(filter, OX_EVFLT_SNMPAGENTADDR, address);
}

OX_RESULT set_criterion(evflt* filter, uint32_t bit, const Given& given) {
  if (given.number) return oxeEvfltSetNumber(filter, bit, *given.number);
  if (bit == OX_EVFLT_SNMPSRCIPXADDR) return set_address(filter, given.text);
  if (bit == OX_EVFLT_SNMPAGENTADDR) return set_agent(filter, given.text);
  if (bit == OX_EVFLT_FROMTIME || bit == OX_EVFLT_TOTIME) return set_time(filter, bit, given.text);
  return oxeEvfltSetPattern(filter, bit, given.text.c_str());
}

}  // namespace

void EventFields::add_to(Command& command) {
  for (std::size_t row = 0; row < std::size(field_rows); ++row) {
    const FieldRow& field = field_rows[row];
    add_option(command, given_, row, field.option, field.help, field.set_text != nullptr);
  }
  command.add_option("--component", component_, "component concerned, type:name");
}

EventPtr EventFields::make() const {
  EventPtr event(oxeEvmsgAlloc());
  if (!event) throw std::bad_alloc();
  for (const Given& given : given_) {
    const FieldRow& field = field_rows[given.row];
    require(
        given.number ? field.set_number(event.get(), *given.number) : field.set_text(event.get(), given.text.c_str()),
        field.option);
  }
  if (component_.empty()) return event;
  const std::size_t colon = component_.find(':');
  if (colon == component_.npos) throw Failure(component_, OX_ECOMPNAME);
  require(oxeEvmsgSetCompType(event.get(), component_.substr(0, colon).c_str()), component_);
  require(oxeEvmsgSetCompName(event.get(), component_.substr(colon + 1).c_str()), component_);
  return event;
}

void EventCriteria::add(Command& command, bool limits) {
  for (std::size_t row = 0; row < std::size(criterion_rows); ++row) {
    const CriterionRow& criterion = criterion_rows[row];
    if (criterion.limit != limits) continue;
    add_option(command, given_, row, criterion.option, criterion.help, criterion.text);
  }
}
void EventCriteria::add_to(Command& command) { add(command, false); }
void EventCriteria::add_limits_to(Command& command) { add(command, true); }

FilterPtr EventCriteria::make() const {
  FilterPtr filter(oxeEvfltAlloc());
  if (!filter) throw std::bad_alloc();
  for (const Given& given : given_) {
    const CriterionRow& criterion = criterion_rows[given.row];
    require(set_criterion(filter.get(), criterion.bit, given), criterion.option);
  }
  return filter;
}

}  // namespace tool
