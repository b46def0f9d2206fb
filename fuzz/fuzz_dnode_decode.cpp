// Any bytes as an encoded data node list: decoded, looked at in every way, encoded, and stable from then on.
#include <cstring>

#include <oxbase/oxd.h>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

void walk(dnode* list) {
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* text = nullptr;
    uint32_t number = 0;
    int32_t whole = 0;
    uint64_t wide = 0;
    oxIconLocation location{};
    for (const auto get : {oxdGetCompName, oxdGetCompType, oxdGetAmibName}) {
      if (get(node, &text) == OX_OK) expect(std::strlen(text) < 65536);
    }
    for (const auto get : {oxdGetReqTime, oxdGetRspTime, oxdGetDnodeId, oxdGetErrCode, oxdGetValueByUlong}) {
      (void)get(node, &number);
    }
    (void)oxdGetAmibEntry(node, &number);
    (void)oxdGetValueByLong(node, &whole);
    (void)oxdGetValueByUlonglong(node, &wide);
    (void)oxdGetIconLocation(node, &location);
    expect(oxdGetValueByStr(node) != nullptr && oxdGetValueByRawStr(node) != nullptr);
    expect(oxdGetValueByCodeStr(node) != nullptr);
    expect(oxdDnodeToStr("%C%T%AB%AN%AS%QD%QS%SN%30V%-30W\n", node) != nullptr);
    dnode* copy = oxdCopy(node);
    expect(copy != nullptr && oxdGetValueSize(copy) == oxdGetValueSize(node));
    (void)oxdFree(copy);
  }
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  dnode* list = nullptr;
  if (oxdDecode(input.data(), static_cast<uint32_t>(input.size()), &list) != OX_OK || list == nullptr) return;
  walk(list);
  stable(list, oxdDecode, oxdEncode, oxdFree);
}
