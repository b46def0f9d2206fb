// Any bytes as a filter: what is accepted can be used, goes out again, and is stable from then on.
#include "fuzz/event_fuzz.h"

namespace {

void filters(const void* data, uint32_t size) {
  evflt* filter = nullptr;
  if (oxeEvfltDecode(data, size, &filter) != OX_OK) return require(filter == nullptr);
  evmsg* list = oxeEvmsgAlloc();
  (void)oxeEvmsgSetSender(list, "abcabc");
  (void)oxeEvfltMatch(list, filter);
  oxeEvfltFirstLast(&list, filter);
  require(list != nullptr);
  Block once, twice;
  require(oxeEvfltEncode(filter, &once.bytes, &once.size) == OX_OK);
  evflt* again = nullptr;
  require(oxeEvfltDecode(once.bytes, once.size, &again) == OX_OK);
  require(oxeEvfltEncode(again, &twice.bytes, &twice.size) == OX_OK && once == twice);
  (void)oxeEvmsgFree(list);
  (void)oxeEvfltFree(again);
  (void)oxeEvfltFree(filter);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return run_decoder(data, size, filters); }
