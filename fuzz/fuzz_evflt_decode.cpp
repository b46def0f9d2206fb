// Any bytes as a filter: what is accepted can be used, goes out again, and is stable from then on.
#include "fuzz/event_fuzz.h"

namespace {

// Releases the filter.
std::string encode(evflt* filter) {
  void* block = nullptr;
  uint32_t length = 0;
  ox::fuzz::expect(oxeEvfltEncode(filter, &block, &length) == OX_OK);
  (void)oxeEvfltFree(filter);
  return ox::fuzz::take_block(block, length);
}

void use(const evflt* filter) {
  evmsg* list = oxeEvmsgAlloc();
  (void)oxeEvmsgSetSender(list, "abcabc");
  (void)oxeEvfltMatch(list, filter);
  oxeEvfltFirstLast(&list, filter);
  ox::fuzz::expect(list != nullptr);
  (void)oxeEvmsgFree(list);
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const uint32_t blocks = oxcGetMemValue(1);
  evflt* filter = nullptr;
  if (oxeEvfltDecode(input.data(), static_cast<uint32_t>(input.size()), &filter) == OX_OK) {
    use(filter);
    const std::string wire = encode(filter);
    expect(oxeEvfltDecode(wire.data(), static_cast<uint32_t>(wire.size()), &filter) == OX_OK);
    expect(encode(filter) == wire);
  } else {
    expect(filter == nullptr);
  }
  expect(oxcGetMemValue(1) == blocks);
}
