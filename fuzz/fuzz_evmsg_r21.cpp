// Any bytes as an event in the older encoding: what is accepted goes out again and is stable from then on.
#include <oxbase/oxe.h>

#include "fuzz/target.h"

void ox::fuzz::run(std::string_view input) {
  const uint32_t blocks = oxcGetMemValue(1);
  evmsg* event = nullptr;
  if (oxeEvmsgDecodeR21(input.data(), static_cast<uint32_t>(input.size()), &event) == OX_OK) {
    stable(event, oxeEvmsgDecodeR21, oxeEvmsgEncodeR21, oxeEvmsgFree, OX_EENCODEDLONG);  // too many data nodes
  } else {
    expect(event == nullptr);
  }
  expect(oxcGetMemValue(1) == blocks);
}
