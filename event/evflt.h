// The filter record. Its criteria stand in one table, in the order in which they are tested and travel.
#pragma once

#include <oxbase/oxe.h>

#include "event/evmsg.h"

namespace ox::event {

// kind, member, bit, test, field of the event
#define OX_EVFLT_CRITERIA(X)                                                     \
  X(Number, from_time, OX_EVFLT_FROMTIME, AtLeast, occur_time)                   \
  X(Number, to_time, OX_EVFLT_TOTIME, AtMost, occur_time)                        \
  X(Number, snd_id, OX_EVFLT_SNDID, Equal, snd_id)                               \
  X(Text, sender, OX_EVFLT_SENDER, Matches, sender)                              \
  X(Number, event_type, OX_EVFLT_EVENTTYPE, InClass, event_type)                 \
  X(Number, event_id, OX_EVFLT_EVENTID, Equal, event_id)                         \
  X(Number, ref_event_id, OX_EVFLT_REFEVENTID, Equal, ref_event_id)              \
  X(Text, comm_name, OX_EVFLT_COMMNAME, Matches, comm_name)                      \
  X(Text, comp_type, OX_EVFLT_COMPTYPE, Matches, comp_type)                      \
  X(Text, comp_name, OX_EVFLT_COMPNAME, Matches, comp_name)                      \
  X(Text, msg_file, OX_EVFLT_MSGFILE, Matches2, msg_file)                        \
  X(Number, msg_number, OX_EVFLT_MSGNUMBER, Equal, msg_number)                   \
  X(Memo, memo, OX_EVFLT_MEMO, Matches, memo)                                    \
  X(Number, flag_bit1, OX_EVFLT_FLAGBIT1, FlagBit<0x1>, flag)                    \
  X(Number, flag_bit2, OX_EVFLT_FLAGBIT2, FlagBit<0x2>, flag)                    \
  X(Text, snmp_comm_name, OX_EVFLT_SNMPCOMMNAME, Matches, snmp_comm_name)        \
  X(Text, snmp_enterprises, OX_EVFLT_SNMPENTERPRISES, Matches, snmp_enterprises) \
  X(Number, snmp_agent_addr, OX_EVFLT_SNMPAGENTADDR, Equal, snmp_agent_addr)     \
  X(Number, snmp_gen_trap, OX_EVFLT_SNMPGENTRAP, Equal, snmp_gen_trap)           \
  X(Number, snmp_spec_trap, OX_EVFLT_SNMPSPECTRAP, Equal, snmp_spec_trap)        \
  X(Number, first, OX_EVFLT_FIRST, OfLists, snd_id)                              \
  X(Number, last, OX_EVFLT_LAST, OfLists, snd_id)                                \
  X(Address, snmp_src_ipx_addr, OX_EVFLT_SNMPSRCIPXADDR, Equal, snmp_src_ipx_addr)

}  // namespace ox::event

// A criterion whose bit is clear is all zero. First and Last are never on together, nor is either with a count of 0.
struct evflt {
  std::uint32_t on;
#define X(kind, member, bit, test, field) ox::event::kind member;
  OX_EVFLT_CRITERIA(X)
#undef X

  [[nodiscard]] bool has(std::uint32_t bits) const noexcept { return (on & bits) != 0; }
};

namespace ox::event {

template <class Kind>
struct Criterion {
  Kind evflt::*member;
  std::uint32_t bit;

  static constexpr const Kind* kind = nullptr;  // to choose overloads by
};

// criteria::from_time, criteria::to_time, ...
namespace criteria {
#define X(kind, member, bit, test, field) inline constexpr Criterion<kind> member{&evflt::member, bit};
OX_EVFLT_CRITERIA(X)
#undef X
}  // namespace criteria

// Calls `visit` with every row in order until it answers false, row by row at compile time.
template <class Visit>
[[gnu::always_inline]] inline bool every_criterion(Visit&& visit) {
#define X(kind, member, bit, test, field) &&visit(criteria::member)
  return true OX_EVFLT_CRITERIA(X);
#undef X
}

struct EvfltDelete {
  void operator()(evflt* filter) const noexcept { (void)oxeEvfltFree(filter); }
};
using evflt_ptr = std::unique_ptr<evflt, EvfltDelete>;

// No criteria. Null when memory runs out.
[[nodiscard]] evflt_ptr make_filter() noexcept;

// A copy through the byte form; null for null. 0; 3.
[[nodiscard]] OX_RESULT copy_filter(const evflt* filter, evflt_ptr& copy) noexcept;

}  // namespace ox::event
