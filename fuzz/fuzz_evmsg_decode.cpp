// Any bytes as events: what is accepted can be read and changed, goes out again, and is stable from then on.
#include "fuzz/event_fuzz.h"

namespace {

// A filter of many criteria that reads what events hold.
evflt* every_text() {
  evflt* const filter = oxeEvfltAlloc();
  for (const uint32_t bit : {OX_EVFLT_SENDER, OX_EVFLT_COMMNAME, OX_EVFLT_COMPTYPE, OX_EVFLT_MSGFILE, OX_EVFLT_MEMO}) {
    require(oxeEvfltSet(filter, bit, reinterpret_cast<uintptr_t>("*a?*b*")) == OX_OK);
  }
  return filter;
}

void visit(evmsg* list) {
  evflt* const filter = every_text();
  for (evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    (void)oxeEvfltMatch(event, filter);
    const char* text = nullptr;
    if (oxeEvmsgGetMemo(event, &text) == OX_OK) require(oxeEvmsgSetSender(event, text) == OX_OK && *text != '\0');
    if (oxeEvmsgGetMapName(event, &text) == OX_OK) require(oxeEvmsgSetMapName(event, text) == OX_OK);
    // A sender longer than its length word can tell would not come back.
    if (oxeEvmsgGetSender(event, &text) == OX_OK && std::strlen(text) > 65534) (void)oxeEvmsgClrSender(event);
  }
  (void)oxeEvfltFree(filter);
}

void events(const void* data, uint32_t size) {
  evmsg* list = nullptr;
  const OX_RESULT result = oxeEvmsgDecode(data, size, &list);
  if (result != OX_OK) return require(list == nullptr);
  visit(list);
  Block once, twice;
  const OX_RESULT encoded = oxeEvmsgEncode(list, &once.bytes, &once.size, 0);
  (void)oxeEvmsgFree(list);
  if (encoded == OX_EENCODEDLONG) return;  // a node's text that has become a terminator too long
  require(encoded == OX_OK);
  evmsg* again = nullptr;
  require(oxeEvmsgDecode(once.bytes, once.size, &again) == OX_OK);
  require(oxeEvmsgEncode(again, &twice.bytes, &twice.size, 0) == OX_OK && once == twice);
  (void)oxeEvmsgFree(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) { return run_decoder(data, size, events); }
