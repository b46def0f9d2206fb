// The event record. Its fields stand in one table, in the order in which they travel; accessors, release, size, both
// encodings and the copy back from the manager are made from the rows.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <oxbase/oxe.h>

#include "event/field_bytes.h"

namespace ox::event {

// kind, stem of the accessors, member, presence bit
#define OX_EVMSG_FIELDS(X)                             \
  X(Number, SndId, snd_id, 0x000001)                   \
  X(Text, Sender, sender, 0x000002)                    \
  X(Number, EventType, event_type, 0x000004)           \
  X(Number, EventId, event_id, 0x000008)               \
  X(Number, RefEventId, ref_event_id, 0x000010)        \
  X(Text, CommName, comm_name, 0x000020)               \
  X(Text, CompType, comp_type, 0x000040)               \
  X(Text, CompName, comp_name, 0x000080)               \
  X(Number, OccurTime, occur_time, 0x000100)           \
  X(Number, RecoverTime, recover_time, 0x000200)       \
  X(Text, MsgFile, msg_file, 0x000400)                 \
  X(Number, MsgNumber, msg_number, 0x000800)           \
  X(Text, OptMsg, opt_msg, 0x001000)                   \
  X(Memo, Memo, memo, 0x002000)                        \
  X(Number, Flag, flag, 0x004000)                      \
  X(NodeList, DnodeList, dnode_list, 0x008000)         \
  X(Text, SnmpCommName, snmp_comm_name, 0x010000)      \
  X(Text, SnmpEnterprises, snmp_enterprises, 0x020000) \
  X(Number, SnmpAgentAddr, snmp_agent_addr, 0x040000)  \
  X(Number, SnmpGenTrap, snmp_gen_trap, 0x080000)      \
  X(Number, SnmpSpecTrap, snmp_spec_trap, 0x100000)    \
  X(Number, SnmpTimeStamp, snmp_time_stamp, 0x200000)  \
  X(Text, MapName, map_name, 0x400000)                 \
  X(Address, SnmpSrcIpxAddr, snmp_src_ipx_addr, 0x800000)

}  // namespace ox::event

// A tracked block. A decoded event is one block with all its texts behind the record; a text that is set later has a
// block of its own. A field whose bit is clear is all zero.
struct evmsg {
  evmsg* next;
  evmsg* prev;
  std::uint32_t present;
  std::uint32_t text_bytes;  // behind the record; copy_step more are there
  std::uint64_t wire_bytes;  // of the fields that are present, without the list of data nodes
#define X(kind, Stem, member, bit) ox::event::kind member;
  OX_EVMSG_FIELDS(X)
#undef X

  [[nodiscard]] bool has(std::uint32_t bits) const noexcept { return (present & bits) != 0; }
};
static_assert(std::is_standard_layout_v<evmsg> && offsetof(evmsg, next) == 0 && offsetof(evmsg, prev) == sizeof(void*));

namespace ox::event {

template <class Kind>
struct Field {
  Kind evmsg::*member;
  std::uint32_t bit;

  static constexpr const Kind* kind = nullptr;  // to choose overloads by
  [[nodiscard]] constexpr std::size_t index() const noexcept { return static_cast<std::size_t>(std::countr_zero(bit)); }
};

// fields::snd_id, fields::sender, ...
namespace fields {
#define X(kind, Stem, member, bit) inline constexpr Field<kind> member{&evmsg::member, bit};
OX_EVMSG_FIELDS(X)
#undef X
}  // namespace fields

inline constexpr std::size_t field_count = 0
#define X(kind, Stem, member, bit) +1
    OX_EVMSG_FIELDS(X)
#undef X
    ;
inline constexpr std::uint32_t all_fields = 0
#define X(kind, Stem, member, bit) | bit
    OX_EVMSG_FIELDS(X)
#undef X
    ;
static_assert(all_fields == (std::uint32_t{1} << field_count) - 1, "one bit each, from the lowest on");

// Calls `visit` with every row in order until it answers false, row by row at compile time.
template <class Visit>
[[gnu::always_inline]] inline bool every_field(Visit&& visit) {
#define X(kind, Stem, member, bit) &&visit(fields::member)
  return true OX_EVMSG_FIELDS(X);
#undef X
}

struct EvmsgDelete {
  void operator()(evmsg* list) const noexcept { (void)oxeEvmsgFree(list); }
};
// Owns an event and the rest of its list.
using evmsg_ptr = std::unique_ptr<evmsg, EvmsgDelete>;

// An event on no list with room for the texts of decoded fields. Null when memory runs out.
[[nodiscard]] evmsg_ptr make_event(std::uint32_t text_bytes) noexcept;

// The bodies of the exported setters: what is to be ignored leaves the field as it was. 3.
template <class Kind>
[[nodiscard]] OX_RESULT assign(evmsg& event, const Field<Kind>& field, typename field::Access<Kind>::In value) noexcept;

// Releases what the field owns and clears it.
template <class Kind>
void clear(evmsg& event, const Field<Kind>& field) noexcept;

// What a decoder has found: the fields that are there, in the received bytes.
struct ParsedEvent {
  std::uint32_t present = 0;
  View views[field_count];  // by Field::index(); defined where present
};

// An event of the fields parsed. 0; 3; the error of oxdDecode.
[[nodiscard]] OX_RESULT build(const ParsedEvent& parsed, evmsg_ptr& event) noexcept;

// Encodes the list's first event and those behind it, as long as all fit `most` bytes. list becomes the first one left,
// null for none. 0; 3; 71; 266 when the whole does not fit 32 bits.
[[nodiscard]] OX_RESULT encode_some(const evmsg*& list, std::uint32_t most, void** buffer,
                                    std::uint32_t* length) noexcept;

// The encoding of a list of data nodes; no bytes for a null list.
struct EncodedNodes {
  tracked_ptr<unsigned char[]> bytes;
  std::uint32_t size = 0;

  [[nodiscard]] OX_RESULT encode(const dnode* list) noexcept;
};

}  // namespace ox::event
