// The rule's record, read from the manager, and its attributes, written.
#include <utility>

#include "common/memory.h"
#include "entries/rule/rule.h"

namespace ox::entries {
namespace {

// Member of the public record, AMIB path.
#define OX_RULE_FIELDS(TEXT, NUMBER)   \
  TEXT(RuleName, "11.13.1.0")          \
  TEXT(Component, "11.13.2.0")         \
  TEXT(Target, "11.13.3.0")            \
  NUMBER(Interval, "11.13.4.0")        \
  NUMBER(Level, "11.13.5.0")           \
  TEXT(Argument, "11.13.6.0")          \
  NUMBER(AdminStatus, rule_admin_path) \
  NUMBER(OperStatus, rule_oper_path)   \
  TEXT(Error, rule_error_path)         \
  NUMBER(Request, "11.13.10.0")        \
  TEXT(Schedule, rule_schedule_path)

// The public record, and the values that it shows.
struct RuleRecord {
  oxrRule shown;
  Text EntryName;
#define TEXT(member, path) Text member;
#define NUMBER(member, path) Number member;
  OX_RULE_FIELDS(TEXT, NUMBER)
#undef TEXT
#undef NUMBER
};
static_assert(std::is_standard_layout_v<RuleRecord> && offsetof(RuleRecord, shown) == 0);

constexpr Row rule_rows[] = {row<offsetof(RuleRecord, EntryName), Text>(nullptr, 0, 0, "EntryName"),
#define TEXT(member, path) row<offsetof(RuleRecord, member), Text>(path, 0, 0, #member),
#define NUMBER(member, path) row<offsetof(RuleRecord, member), Number>(path, 0, 0, #member),
                             OX_RULE_FIELDS(TEXT, NUMBER)
#undef TEXT
#undef NUMBER
};

void show(RuleRecord& record) noexcept {
  record.shown.EntryName = field::view(record.EntryName);
#define VALUE(member, path) record.shown.member = field::view(record.member);
  OX_RULE_FIELDS(VALUE, VALUE)
#undef VALUE
}

OX_RESULT release(oxrRule* rule) noexcept {
  if (rule == nullptr) return OX_OK;
  forget_rule(*rule);
  (void)oxcFreeProcess(rule->Process);
  (void)oxcFreeProcess(rule->Ending);
  auto* const record = reinterpret_cast<RuleRecord*>(rule);
  clear_values(record, rule_rows);
  (void)oxcMemFree(record);
  return OX_OK;
}

struct RuleDelete {
  void operator()(RuleRecord* record) const noexcept { (void)release(&record->shown); }
};

OX_RESULT read(const char* manager, const char* name, oxrRule** out) {
  if (name == nullptr || out == nullptr) return OX_EARG;
  if (const OX_RESULT result = check_name(name)) return result;
  std::unique_ptr<RuleRecord, RuleDelete> record(make_tracked<RuleRecord>("oxrRule").release());
  if (!record) return OX_ENOMEM;
  OX_RESULT result = field::assign(record->EntryName, name, "EntryName");
  dnode_ptr answer;
  if (result == OX_OK) result = get(manager, {rule_type, name}, "11.13", 0, rule_seconds, answer);
  if (result == OX_OK) result = read_values(record.get(), rule_rows, answer.get(), OX_OK);
  if (result != OX_OK) return result;
  show(*record);
  *out = &record.release()->shown;
  return OX_OK;
}

OX_RESULT write_status(const char* manager, const char* path, oxrRule* rule, std::uint32_t oxrRule::*member,
                       std::uint32_t status) {
  if (rule == nullptr) return OX_EARG;
  const OX_RESULT result = write_rule(manager, rule->EntryName, path, std::to_string(status).c_str());
  if (result == OX_OK) rule->*member = status;
  return result;
}

}  // namespace

OX_RESULT write_rule(const char* manager, const char* name, const char* path, const char* text) {
  if (name == nullptr || path == nullptr) return OX_EARG;
  if (const OX_RESULT result = check_name(name)) return result;
  Nodes nodes({rule_type, name});
  const OX_RESULT result = nodes.add(path, text);
  return result != OX_OK ? result : set(manager, nodes, rule_seconds);
}

OX_RESULT write_admin_status(const char* manager, oxrRule* rule, std::uint32_t status) {
  return write_status(manager, rule_admin_path, rule, &oxrRule::AdminStatus, status);
}

OX_RESULT write_oper_status(const char* manager, oxrRule* rule, std::uint32_t status) {
  return write_status(manager, rule_oper_path, rule, &oxrRule::OperStatus, status);
}

}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxrGetRule(const char* manager, const char* name, oxrRule** rule) {
  OX_RULE_START("oxrGetRule", "%s,%s,%x", trace::text(manager), trace::text(name), trace::word(rule));
  return OX_RULE_CALL("oxrGetRule", [&] { return read(manager, name, rule); });
}

OX_RESULT OX_CALL oxrFreeRule(oxrRule* rule) {
  OX_RULE_START("oxrFreeRule", "%x", trace::word(rule));
  return OX_RULE_CALL("oxrFreeRule", [&] { return release(rule); });
}

OX_RESULT OX_CALL oxrConfSet(const char* manager, const char* name, const char* path, const char* text) {
  OX_RULE_START("oxrConfSet", "%s,%s,%s,%s", trace::text(manager), trace::text(name), trace::text(path),
                trace::text(text));
  return OX_RULE_CALL("oxrConfSet", [&] { return write_rule(manager, name, path, text); });
}

OX_RESULT OX_CALL oxrConfSetAdminStatus(const char* manager, oxrRule* rule, uint32_t status) {
  OX_RULE_START("oxrConfSetAdminStatus", "%s,%x,%u", trace::text(manager), trace::word(rule), status);
  return OX_RULE_CALL("oxrConfSetAdminStatus", [&] { return write_admin_status(manager, rule, status); });
}

OX_RESULT OX_CALL oxrConfSetOperStatus(const char* manager, oxrRule* rule, uint32_t status) {
  OX_RULE_START("oxrConfSetOperStatus", "%s,%x,%u", trace::text(manager), trace::word(rule), status);
  return OX_RULE_CALL("oxrConfSetOperStatus", [&] { return write_oper_status(manager, rule, status); });
}
