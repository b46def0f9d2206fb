// Any bytes as an event in the older encoding: what is accepted goes out again and is stable from then on.
#include "fuzz/event_fuzz.h"

namespace {

void older_event(const void* data, uint32_t size) {
  evmsg* event = nullptr;
  if (oxeEvmsgDecodeR21(data, size, &event) != OX_OK) return require(event == nullptr);
  Block once, twice;
  const OX_RESULT encoded = oxeEvmsgEncodeR21(event, &once.bytes, &once.size);
  (void)oxeEvmsgFree(event);
  if (encoded == OX_EENCODEDLONG) return;  // more data nodes than one may send
  require(encoded == OX_OK && oxeEvmsgDecodeR21(once.bytes, once.size, &event) == OX_OK);
  require(oxeEvmsgEncodeR21(event, &twice.bytes, &twice.size) == OX_OK && once == twice);
  (void)oxeEvmsgFree(event);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return run_decoder(data, size, older_event); }
