// Any bytes as events, as an event in the older encoding, and as a filter: what is accepted can be used, goes out
// again, and is stable from then on.
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

void use(evmsg* list) {
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

void use(const evflt* filter) {
  evmsg* list = oxeEvmsgAlloc();
  (void)oxeEvmsgSetSender(list, "abcabc");
  (void)oxeEvfltMatch(list, filter);
  oxeEvfltFirstLast(&list, filter);
  expect(list != nullptr);
  (void)oxeEvmsgFree(list);
}

// The encoder may refuse what has become too long by its use, or too many data nodes.
template <class Record, class Decode, class Encode, class Release>
void check(std::string_view input, Decode decode, Encode encode, Release release, OX_RESULT refusal = OX_OK) {
  const uint32_t blocks = oxcGetMemValue(1);
  Record* record = nullptr;
  if (decode(input.data(), static_cast<uint32_t>(input.size()), &record) == OX_OK) {
    use(record);
    ox::fuzz::stable(record, decode, encode, release, refusal);
  } else {
    expect(record == nullptr);
  }
  expect(oxcGetMemValue(1) == blocks);
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const auto encode = [](const evmsg* all, void** block, uint32_t* length) {
    return oxeEvmsgEncode(all, block, length, 0);
  };
  check<evmsg>(input, oxeEvmsgDecode, encode, oxeEvmsgFree, OX_EENCODEDLONG);
  check<evmsg>(input, oxeEvmsgDecodeR21, oxeEvmsgEncodeR21, oxeEvmsgFree, OX_EENCODEDLONG);
  check<evflt>(input, oxeEvfltDecode, oxeEvfltEncode, oxeEvfltFree);
}
