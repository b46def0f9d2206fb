// Any bytes as events: what is accepted can be read and changed, goes out again, and is stable from then on.
#include <cstring>

#include <oxbase/oxe.h>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

// A filter of many criteria that reads what events hold.
evflt* every_text() {
  evflt* const filter = oxeEvfltAlloc();
  for (const uint32_t bit : {OX_EVFLT_SENDER, OX_EVFLT_COMMNAME, OX_EVFLT_COMPTYPE, OX_EVFLT_MSGFILE, OX_EVFLT_MEMO}) {
    expect(oxeEvfltSet(filter, bit, reinterpret_cast<uintptr_t>("*a?*b*")) == OX_OK);
  }
  return filter;
}

void visit(evmsg* list) {
  evflt* const filter = every_text();
  for (evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    (void)oxeEvfltMatch(event, filter);
    const char* text = nullptr;
    if (oxeEvmsgGetMemo(event, &text) == OX_OK) expect(oxeEvmsgSetSender(event, text) == OX_OK && *text != '\0');
    if (oxeEvmsgGetMapName(event, &text) == OX_OK) expect(oxeEvmsgSetMapName(event, text) == OX_OK);
    // A sender longer than its length word can tell would not come back.
    if (oxeEvmsgGetSender(event, &text) == OX_OK && std::strlen(text) > 65534) (void)oxeEvmsgClrSender(event);
  }
  (void)oxeEvfltFree(filter);
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const uint32_t blocks = oxcGetMemValue(1);
  evmsg* list = nullptr;
  if (oxeEvmsgDecode(input.data(), static_cast<uint32_t>(input.size()), &list) == OX_OK) {
    visit(list);
    const auto encode = [](const evmsg* all, void** block, uint32_t* length) {
      return oxeEvmsgEncode(all, block, length, 0);
    };
    stable(list, oxeEvmsgDecode, encode, oxeEvmsgFree, OX_EENCODEDLONG);  // a node's text may have become too long
  } else {
    expect(list == nullptr);
  }
  expect(oxcGetMemValue(1) == blocks);
}
