// The byte form of a filter: a word of criteria and the values of those that are on.
#include "common/trace.h"
#include "event/evflt.h"

namespace ox::event {
namespace {

OX_RESULT encode(const evflt& filter, void** buffer, std::uint32_t* length) noexcept {
  std::uint64_t size = sizeof filter.on;
  (void)every_criterion([&](const auto& criterion) {
    if (filter.has(criterion.bit)) size += wire_size(filter.*criterion.member);
    return true;
  });
  if (size > UINT32_MAX - copy_step) return OX_ENOMEM;
  auto block = make_tracked_array<unsigned char>(static_cast<std::uint32_t>(size) + copy_step, "evflt_encode");
  if (!block) return OX_ENOMEM;
  FieldWriter out(block.get());
  out.put(filter.on);
  (void)every_criterion([&](const auto& criterion) {
    if (filter.has(criterion.bit)) out.put(filter.*criterion.member);
    return true;
  });
  *length = static_cast<std::uint32_t>(size);
  *buffer = block.release();
  return OX_OK;
}

// 3.
[[nodiscard]] OX_RESULT store(const View& view, Number& value) noexcept { return field::assign(value, view.number); }
[[nodiscard]] OX_RESULT store(const View& view, Text& value) noexcept {
  return field::assign(value, reinterpret_cast<const char*>(view.bytes));
}
[[nodiscard]] OX_RESULT store(const View& view, Address& value) noexcept { return field::assign(value, view.bytes); }

// A peer may have set what a filter never holds: counts of 0, and both counts, of which the first then wins.
void settle_counts(evflt& filter) noexcept {
  if (filter.first == 0) filter.on &= ~std::uint32_t{OX_EVFLT_FIRST};
  if (filter.last == 0 || filter.has(OX_EVFLT_FIRST)) {
    filter.last = 0;
    filter.on &= ~std::uint32_t{OX_EVFLT_LAST};
  }
}

// Bits without a criterion are ignored.
OX_RESULT decode(const void* buffer, std::uint32_t length, evflt** out) noexcept {
  Reader in(buffer, length);
  std::uint32_t sent = 0;
  if (!in.take(sent)) return OX_EARG;
  evflt_ptr filter = make_filter();
  if (!filter) return OX_ENOMEM;
  OX_RESULT result = OX_OK;
  (void)every_criterion([&](const auto& criterion) {
    if ((sent & criterion.bit) == 0) return true;
    View view;
    if (!take(in, view, criterion.kind)) {
      result = OX_EARG;
    } else if (!is_empty(view, criterion.kind)) {
      result = store(view, filter.get()->*criterion.member);
      filter->on |= criterion.bit;
    }
    return result == OX_OK;
  });
  if (result != OX_OK) return result;
  settle_counts(*filter);
  *out = filter.release();
  return OX_OK;
}

}  // namespace

OX_RESULT copy_filter(const evflt* filter, evflt_ptr& copy) noexcept {
  evflt* decoded = nullptr;
  if (filter != nullptr) {
    void* block = nullptr;
    std::uint32_t length = 0;
    if (const OX_RESULT result = encode(*filter, &block, &length)) return result;
    const tracked_ptr<unsigned char[]> bytes(static_cast<unsigned char*>(block));
    if (const OX_RESULT result = decode(block, length, &decoded)) return result;
  }
  copy.reset(decoded);
  return OX_OK;
}

}  // namespace ox::event

using namespace ox;

OX_RESULT OX_CALL oxeEvfltEncode(const evflt* filter, void** buffer, uint32_t* length) {
  OX_ENTRY("oxeEvfltEncode", ":%x", trace::word(filter));
  return traced("oxeEvfltEncode", [&]() -> OX_RESULT {
    if (filter == nullptr || buffer == nullptr || length == nullptr) return OX_EARG;
    return event::encode(*filter, buffer, length);
  });
}

OX_RESULT OX_CALL oxeEvfltDecode(const void* buffer, uint32_t length, evflt** filter) {
  OX_ENTRY("oxeEvfltDecode", ":%x:%u", trace::word(buffer), length);
  return traced("oxeEvfltDecode", [&]() -> OX_RESULT {
    if (buffer == nullptr || filter == nullptr) return OX_EARG;
    return event::decode(buffer, length, filter);
  });
}
