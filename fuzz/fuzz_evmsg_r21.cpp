// Any bytes as an event in the older encoding: what is accepted goes out again and is stable from then on.
#include "fuzz/event_fuzz.h"

namespace {

// Releases the event.
OX_RESULT encode(evmsg* event, std::string& wire) {
  void* block = nullptr;
  uint32_t length = 0;
  const OX_RESULT result = oxeEvmsgEncodeR21(event, &block, &length);
  wire = ox::fuzz::take_block(block, length);
  (void)oxeEvmsgFree(event);
  return result;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const uint32_t blocks = oxcGetMemValue(1);
  evmsg* event = nullptr;
  if (oxeEvmsgDecodeR21(input.data(), static_cast<uint32_t>(input.size()), &event) == OX_OK) {
    std::string wire, again;
    const OX_RESULT encoded = encode(event, wire);
    expect(encoded == OX_OK || encoded == OX_EENCODEDLONG);  // more data nodes than may be sent
    if (encoded == OX_OK) {
      expect(oxeEvmsgDecodeR21(wire.data(), static_cast<uint32_t>(wire.size()), &event) == OX_OK);
      expect(encode(event, again) == OX_OK && wire == again);
    }
  } else {
    expect(event == nullptr);
  }
  expect(oxcGetMemValue(1) == blocks);
}
