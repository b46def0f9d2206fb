// The encoding of events: each a word of presence bits and the fields that it names, back to back.
#include <algorithm>
#include <functional>
#include <span>

#include <oxbase/oxc.h>

#include "access/shown_data.h"
#include "common/trace.h"
#include "event/evmsg.h"

namespace ox::event {
namespace {

// Lists are encoded before the event is sized.
void put(FieldWriter& out, const evmsg&, const Field<NodeList>&, const EncodedNodes& nodes) noexcept {
  out.put(nodes.size);
  out.put_bytes(nodes.bytes.get(), nodes.size);
}
template <class Kind>
[[gnu::always_inline]] inline void put(FieldWriter& out, const evmsg& event, const Field<Kind>& field,
                                       const EncodedNodes&) noexcept {
  out.put(event.*field.member);
}

// The block that the encoding is written to, with a copy_step behind what is used.
class Output {
 public:
  // Room for `size` more bytes, in one piece. Null when memory runs out.
  [[nodiscard]] unsigned char* extend(std::uint32_t size) noexcept {
    if (size + copy_step > room_ - used_) [[unlikely]] {
      if (!grow(used_ + size + copy_step)) return nullptr;
    }
    unsigned char* const at = block_.get() + used_;
    used_ += size;
    return at;
  }
  // At least twice the room there was, so that a long list is not copied for each of its events.
  [[nodiscard]] bool grow(std::uint32_t needed) noexcept {
    const std::uint32_t room = std::max(needed, room_ > UINT32_MAX / 2 ? UINT32_MAX - 4 : 2 * room_);
    void* const larger = oxcMemRealloc(block_.get(), room, "ev_encode");
    if (larger == nullptr) return false;
    (void)block_.release();
    block_.reset(static_cast<unsigned char*>(larger));
    room_ = room;
    return true;
  }
  [[nodiscard]] std::uint32_t size() const noexcept { return used_; }
  [[nodiscard]] void* release() noexcept { return block_.release(); }

 private:
  tracked_ptr<unsigned char[]> block_;
  std::uint32_t used_ = 0;
  std::uint32_t room_ = 0;
};

// Without the lists of data nodes, whose size is known when they are encoded.
std::uint64_t known_size(const evmsg* list, bool first_only) noexcept {
  std::uint64_t size = 0;
  for (const evmsg* event = list; event != nullptr; event = first_only ? nullptr : event->next) {
    size += sizeof event->present + event->wire_bytes;
  }
  return size;
}

OX_RESULT append(Output& output, const evmsg& event) noexcept {
  EncodedNodes nodes;
  std::uint64_t size = sizeof event.present + event.wire_bytes;
  if (event.has(fields::dnode_list.bit)) {
    if (const OX_RESULT result = nodes.encode(event.dnode_list)) return result;
    size += sizeof nodes.size + nodes.size;
  }
  if (size > UINT32_MAX - copy_step - output.size()) return OX_EENCODEDLONG;
  unsigned char* const at = output.extend(static_cast<std::uint32_t>(size));
  if (at == nullptr) return OX_ENOMEM;
  FieldWriter out(at);
  const std::uint32_t present = event.present;  // read once: the bytes written might be its own, for the compiler
  out.put(present);
#define X(kind, Stem, member, bit) \
  if ((present & bit) != 0) put(out, event, fields::member, nodes);
  OX_EVMSG_FIELDS(X)
#undef X
  return out.position() == at + size ? OX_OK : OX_EARG;
}

OX_RESULT encode(const evmsg* list, void** buffer, std::uint32_t* length, bool first_only) noexcept {
  Output output;
  if (list != nullptr) {
    const std::uint64_t size = known_size(list, first_only) + copy_step;
    if (size > UINT32_MAX) return OX_EENCODEDLONG;
    if (!output.grow(static_cast<std::uint32_t>(size))) return OX_ENOMEM;
  }
  for (const evmsg* event = list; event != nullptr; event = first_only ? nullptr : event->next) {
    if (const OX_RESULT result = append(output, *event)) return result;
  }
  *length = output.size();
  *buffer = output.release();
  return OX_OK;
}

using event::is_empty;
using event::take;

// Node lists stay encoded until the event is built.
[[nodiscard]] bool take(Reader& in, View& view, const NodeList*) noexcept {
  return in.take(view.size) && in.take_bytes(view.size, view.bytes);
}
[[nodiscard]] bool is_empty(const View& view, const NodeList*) noexcept { return view.size == 0; }

// Bits without a field are ignored.
[[nodiscard]] bool take_event(Reader& in, ParsedEvent& parsed) noexcept {
  std::uint32_t sent = 0;
  if (!in.take(sent)) return false;
  parsed.present = 0;
  return every_field([&](const auto& field) {
    if ((sent & field.bit) == 0) return true;
    View& view = parsed.views[field.index()];
    if (!take(in, view, field.kind)) return false;
    if (!is_empty(view, field.kind)) parsed.present |= field.bit;
    return true;
  });
}

// The field's bytes without the zero byte.
void find_communities(std::span<const unsigned char> events,
                      const std::function<void(std::span<const unsigned char>)>& hide) {
  constexpr auto community = fields::snmp_comm_name;
  Reader in(events.data(), events.size());
  ParsedEvent parsed;
  while (in.remaining() != 0 && take_event(in, parsed)) {
    const View& view = parsed.views[community.index()];
    if ((parsed.present & community.bit) != 0) hide({view.bytes, view.size - 1});
  }
}
[[maybe_unused]] const bool known = know_event_secrets(&find_communities);

OX_RESULT decode(const void* buffer, std::uint32_t length, evmsg** list) noexcept {
  Reader in(buffer, length);
  evmsg* head = nullptr;
  OX_RESULT result = OX_OK;
  while (result == OX_OK && in.remaining() != 0) {
    ParsedEvent parsed;
    evmsg_ptr event;
    result = take_event(in, parsed) ? build(parsed, event) : OX_RESULT{OX_EARG};
    if (result == OX_OK) (void)oxcQueueAdd(&head, event.release());
  }
  if (result == OX_OK) {
    (void)oxcQueueLink(list, head);
  } else {
    (void)oxeEvmsgFree(head);
  }
  return result;
}

void store(evmsg& event, const Field<Number>& field, const View& view, char*&) noexcept {
  event.*field.member = view.number;
  event.wire_bytes += wire_size(event.*field.member);
}
template <class AnyText>
void store(evmsg& event, const Field<AnyText>& field, const View& view, char*& room) noexcept {
  std::memcpy(room, view.bytes, view.size);
  (event.*field.member).text = room;
  (event.*field.member).size = view.size;
  event.wire_bytes += wire_size(event.*field.member);
  room += view.size;
}
void store(evmsg& event, const Field<Address>& field, const View& view, char*&) noexcept {
  std::memcpy((event.*field.member).bytes, view.bytes, view.size);
  event.wire_bytes += wire_size(event.*field.member);
}
void store(evmsg&, const Field<NodeList>&, const View&, char*&) noexcept {}

[[nodiscard]] std::uint64_t text_size(const View& view, const Text*) noexcept { return view.size; }
[[nodiscard]] constexpr std::uint64_t text_size(const View&, const void*) noexcept { return 0; }

}  // namespace

OX_RESULT build(const ParsedEvent& parsed, evmsg_ptr& event) noexcept {
  std::uint64_t text_bytes = 0;
  every_field([&](const auto& field) {
    if ((parsed.present & field.bit) != 0) text_bytes += text_size(parsed.views[field.index()], field.kind);
    return true;
  });
  if (text_bytes > UINT32_MAX) return OX_ENOMEM;
  evmsg_ptr made = make_event(static_cast<std::uint32_t>(text_bytes));
  if (!made) return OX_ENOMEM;
  char* room = reinterpret_cast<char*>(made.get() + 1);
  every_field([&](const auto& field) {
    if ((parsed.present & field.bit) != 0) store(*made, field, parsed.views[field.index()], room);
    return true;
  });
  made->present = parsed.present;
  if (made->has(fields::dnode_list.bit)) {
    const View& view = parsed.views[fields::dnode_list.index()];
    if (const OX_RESULT result = oxdDecode(view.bytes, view.size, &made->dnode_list)) return result;
  }
  event = std::move(made);
  return OX_OK;
}

OX_RESULT encode_some(const evmsg*& list, std::uint32_t most, void** buffer, std::uint32_t* length) noexcept {
  Output output;
  std::uint32_t size = 0;
  const evmsg* event = list;
  for (; event != nullptr; event = event->next) {
    if (const OX_RESULT result = append(output, *event)) return result;
    if (size != 0 && output.size() > most) break;  // begins the next piece
    size = output.size();
  }
  list = event;
  *length = size;
  *buffer = output.release();
  return OX_OK;
}

OX_RESULT EncodedNodes::encode(const dnode* list) noexcept {
  if (list == nullptr) return OX_OK;
  void* block = nullptr;
  const OX_RESULT result = oxdEncode(list, &block, &size);
  bytes.reset(static_cast<unsigned char*>(block));
  return result;
}

}  // namespace ox::event

using namespace ox;

OX_RESULT OX_CALL oxeEvmsgEncode(const evmsg* event, void** buffer, uint32_t* length, uint32_t firstOnly) {
  OX_ENTRY("oxeEvmsgEncode", ":%x:%d", trace::word(event), static_cast<int>(firstOnly));
  return traced("oxeEvmsgEncode", [&]() -> OX_RESULT {
    if (buffer == nullptr || length == nullptr) return OX_EARG;
    return event::encode(event, buffer, length, firstOnly != 0);
  });
}

OX_RESULT OX_CALL oxeEvmsgDecode(const void* buffer, uint32_t length, evmsg** list) {
  OX_ENTRY("oxeEvmsgDecode", ":%x:%u", trace::word(buffer), length);
  return traced("oxeEvmsgDecode", [&]() -> OX_RESULT {
    if (list == nullptr || (buffer == nullptr && length != 0)) return OX_EARG;
    return event::decode(buffer, length, list);
  });
}
