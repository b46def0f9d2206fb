#include "amib/node_line.h"

#include <array>
#include <cstring>

#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "amib/node.h"
#include "common/trace.h"
#include "common/value_type_table.h"

namespace ox::amib {
namespace {

constexpr auto type_keywords = [] {
  std::array<oxcKeyword, value_type_count + 1> table{};
  std::size_t used = 0;
  for (const ValueTypeName& type : value_type_names) {
    if (type.keyword != nullptr) table[used++] = {type.keyword, type.code};
  }
  return table;  // the rest ends it
}();

constexpr oxcKeyword access_keywords[] = {{"read-only", OXB_READ},
                                          {"write-only", OXB_WRITE},
                                          {"read-write", OXB_READ_WRITE},
                                          {"not-accessible", 0},
                                          {"accessible-for-notify", OXB_NOTIFY},
                                          {nullptr, 0}};

constexpr oxcKeyword interface_keywords[] = {{"CONF-ACS", OXB_CONF},
                                             {"NULL-ACS", OXB_NIL},
                                             {"SNMP-ACS", OXB_SNMP},
                                             {"EMON-ACS", OXB_EMON},
                                             {"ICMP-ACS", OXB_ICMP},
                                             {"ICMPV6-ACS", OXB_ICMPV6},
                                             {nullptr, 0}};

// Letters and digits of the files' own character set, whatever the process's locale.
[[nodiscard]] constexpr bool is_letter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
[[nodiscard]] constexpr bool is_name_character(char c) noexcept {
  return is_letter(c) || (c >= '0' && c <= '9') || c == '-';
}

}  // namespace

OX_RESULT split_fields(char* line, Fields& fields) {
  std::uint32_t count = 0;
  fields = {};
  (void)oxcToken(line, nullptr, fields.text, 5, &count);
  return count == 0 || count == 5 ? OX_OK : OX_ESYNTAX;
}

OX_RESULT parse_node_line(const Fields& fields, NodeLine& line) {
  char* dot = std::strchr(fields.text[1], '.');
  if (dot == nullptr) return OX_ESYNTAX;
  *dot = '\0';
  line = {fields.text[0], fields.text[1], 0, fields.text[2], fields.text[3], fields.text[4]};
  return oxcStrToUlong(dot + 1, 10, &line.number);
}

bool is_node_name(const char* name) noexcept {
  if (!is_letter(*name)) return false;
  std::size_t size = 1;
  while (is_name_character(name[size])) ++size;
  return name[size] == '\0' && size < name_limit;
}

OX_RESULT convert_keywords(const NodeLine& line, NodeCodes& codes) {
  if (oxcStrToValue(type_keywords.data(), line.type, &codes.type) != OX_OK) {
    OX_TRACE(trace::amib, "<M:amib_create_entry(type)>\n");
    return OX_EVALUETYPE;
  }
  if (oxcStrToValue(access_keywords, line.access, &codes.access) != OX_OK) {
    OX_TRACE(trace::amib, "<M:amib_create_entry(acc)>\n");
    return OX_EACCESSWORD;
  }
  if (oxcStrToValue(interface_keywords, line.interface_word, &codes.interface_code) != OX_OK) {
    OX_TRACE(trace::amib, "<M:amib_create_entry(szinterface)>\n");
    return OX_EINTERFACE;
  }
  return OX_OK;
}

}  // namespace ox::amib
